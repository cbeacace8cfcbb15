#include "Scan/unix/Lane.h"

#include <algorithm>
#include <cerrno>
#include <new>

#include "runtime/ut/Trace.h"

namespace orv {

bool Lane::start(const lane::Root& root) {
  // Before the helper is made, which inherits the mapping; nothing of it lies in a file.
  void* memory = ::mmap(nullptr, sizeof(lane::Channel), PROT_READ | PROT_WRITE,
                        MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED)
    return false;
  m_channel.reset(new (memory) lane::Channel);
  lane::Channel& channel = *m_channel;
  if (!m_process.start([&channel, &root](int requests, int replies) {
        lane::serve(channel, root, requests, replies);
      }))
    return false;
  TRACE(TR_GENERAL, "process %d reads %s", static_cast<int>(m_process.process()),
        root.path.c_str());
  isOpening = true;
  waited = {};
  since = Clock::now();
  return true;
}

void Lane::end() noexcept {
  // Killed, not asked to end: it may sleep in the kernel, and nothing is lost that is not asked
  // again.
  m_process.end();
  m_channel.reset();
  isOpening = false;
  load = 0;
}

void Lane::wakeHelper() noexcept {
  // It waits for one byte only, however many reasons there are to wake it; a helper that is gone is
  // noticed where its answer is waited for.
  if (m_channel->helperSleeps.exchange(false))
    (void)writeFully(m_process.requests(), "w");
}

void Lane::send(const lane::Request& request, const std::string& path, const char* names) {
  // In one piece: a helper never sees a request without its names.
  auto& requests = m_channel->requests;
  requests.put(&request, sizeof request);
  requests.put(path.data(), request.pathLength);
  requests.put(names, request.namesLength);
  requests.publish();
  wakeHelper();
}

bool Lane::take(lane::Reply& reply) noexcept {
  auto& replies = m_channel->replies;
  if (replies.available() == 0)
    return false;
  replies.take(&reply, sizeof reply);
  return true;
}

void Lane::makeRoom() noexcept {
  m_channel->replies.release();
  // It may sleep for want of room, with answers left to give.
  if (!works.empty())
    wakeHelper();
}

bool Lane::askToBeWoken() noexcept {
  // Not sooner: to wake up for every answer would cost more than most answers do.
  const std::uint64_t done = m_channel->done.load();
  const std::uint64_t wakeAt = done + std::max<std::uint64_t>(works.size() / 2, 1);
  m_channel->wakeAt.store(wakeAt);
  // Asked again after it was said: what was answered in between wakes nobody any more.
  return m_channel->done.load() < wakeAt && !m_channel->helperSleeps.load();
}

bool Lane::takeWakeUps() noexcept {
  m_channel->wakeAt.store(lane::Channel::NEVER);
  char bytes[16];
  const ssize_t got = ::read(m_process.replies(), bytes, sizeof bytes);
  return got > 0 || (got < 0 && (errno == EAGAIN || errno == EINTR));
}

}  // namespace orv
