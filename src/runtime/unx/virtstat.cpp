#include "runtime/unx/virtstat.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <mutex>

#include "runtime/thrd/StopFlag.h"
#include "runtime/ut/Trace.h"

namespace orv::stathelper {
namespace {

// The operations, by number.
struct Operation {
  std::size_t size;
  int (*perform)(const char* path, Result& result);
};
// clang-format off
constexpr Operation OPERATIONS[] = {
    {sizeof(struct statfs64),  [](const char* path, Result& r) { return ::statfs64(path, &r.statfs); }},
    {sizeof(struct statvfs64), [](const char* path, Result& r) { return ::statvfs64(path, &r.statvfs); }},
    {sizeof(struct stat),      [](const char* path, Result& r) { return ::stat(path, &r.stat); }},
    {sizeof(struct stat),      [](const char* path, Result& r) { return ::lstat(path, &r.stat); }},
};
// clang-format on

// Reads `size` bytes. False at the end of the requests.
bool readFully(int fd, void* to, std::size_t size) noexcept {
  auto* at = static_cast<char*>(to);
  while (size > 0) {
    const ssize_t got = ::read(fd, at, size);
    if (got < 0 && errno == EINTR)
      continue;
    if (got <= 0)
      return false;
    at += got;
    size -= static_cast<std::size_t>(got);
  }
  return true;
}

bool readTap(int fd, Tap& tap) noexcept {
  if (!readFully(fd, &tap, offsetof(Tap, path)) || tap.pathLength > MAX_PATH_LENGTH ||
      !readFully(fd, tap.path, tap.pathLength))
    return false;
  tap.path[tap.pathLength] = '\0';
  return true;
}

}  // namespace

ssize_t resultSize(int operation) noexcept {
  if (operation < 0 || static_cast<std::size_t>(operation) >= std::size(OPERATIONS))
    return -1;
  return static_cast<ssize_t>(OPERATIONS[operation].size);
}

void serve(int requests, int replies) noexcept {
  Tap tap;
  while (readTap(requests, tap)) {
    Reply reply;
    // The whole reply passes through the pipe, its padding as well: nothing of the stack must.
    std::memset(&reply, 0, sizeof reply);
    reply.number = tap.number;
    reply.error = OPERATIONS[tap.operation].perform(tap.path, reply.result) == 0 ? 0 : errno;
    if (!writeFully(replies, {reinterpret_cast<const char*>(&reply), sizeof reply}))
      return;
  }
}

}  // namespace orv::stathelper

namespace orv {
namespace {

using stathelper::Tap;
using std::chrono::milliseconds;

// Longest sleep between two looks at the stop flag: a signal that arrives just before the sleep
// does not cut it short.
constexpr milliseconds STOP_POLL_INTERVAL{200};

std::mutex& init_pStatMutex() {
  static std::mutex mutex;
  return mutex;
}

}  // namespace

// Whether the call may go on waiting, and if so for how long at a stretch.
StatThread::Elapsed StatThread::checkElapsedTime(const Limit& limit, milliseconds& stretch) {
  const auto left = std::chrono::ceil<milliseconds>(
      limit.start + std::chrono::seconds(limit.seconds) - Clock::now());
  stretch = std::min(left, STOP_POLL_INTERVAL);
  return left.count() > 0 ? Elapsed::CONTINUE : Elapsed::TIMEOUT;
}

// Waits until `fd` is ready for `events`, or has lost its other end. 0, or the errno value of the
// call.
int StatThread::awaitReady(int fd, short events, const Limit& limit) {
  for (;;) {
    milliseconds stretch{};
    if (checkElapsedTime(limit, stretch) == Elapsed::TIMEOUT)
      return ETIMEDOUT;
    // Not select: the job may have more descriptors open than its sets can name.
    pollfd waited{fd, events, 0};
    const int ready = ::poll(&waited, 1, static_cast<int>(stretch.count()));
    if (ready > 0)
      return 0;
    if (ready < 0 && errno != EINTR)
      return errno;
    if (agentStop.load(std::memory_order_relaxed))
      return EINTR;
  }
}

// Writes the tap. 0, or an errno value; EPIPE when the helper is gone.
int StatThread::send(const Limit& limit) const {
  const char* data = reinterpret_cast<const char*>(&m_tap);
  for (std::size_t size = m_tap.length(); size > 0;) {
    const ssize_t written = ::write(m_helper.requests(), data, size);
    if (written >= 0) {
      data += written;
      size -= static_cast<std::size_t>(written);
    } else if (errno == EAGAIN) {
      if (const int error = awaitReady(m_helper.requests(), POLLOUT, limit); error != 0)
        return error;
    } else if (errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

// Reads the reply. 0, or an errno value; EPIPE when the helper is gone.
int StatThread::receive(const Limit& limit) {
  char* data = reinterpret_cast<char*>(&m_reply);
  for (std::size_t size = sizeof m_reply; size > 0;) {
    if (const int error = awaitReady(m_helper.replies(), POLLIN, limit); error != 0)
      return error;
    const ssize_t got = ::read(m_helper.replies(), data, size);
    if (got > 0) {
      data += got;
      size -= static_cast<std::size_t>(got);
    } else if (got == 0) {
      return EPIPE;
    } else if (errno != EINTR && errno != EAGAIN) {
      return errno;
    }
  }
  return 0;
}

bool StatThread::CreateStatFsThread() {
  TRACE_METHOD("CreateStatFsThread()");
  if (!m_helper.start(stathelper::serve))
    return false;
  // A request longer than the pipe would be sent in pieces, and a helper that hangs hold the job at
  // the first.
  const long pipeBuf = ::fcntl(m_helper.requests(), F_GETPIPE_SZ);
  constexpr long signalLength = sizeof(Tap);
  if (pipeBuf < signalLength)
    TRACE(TR_ERROR,
          "CreateStatFsThread: pipeBuf (%ld) < signalLength (%ld).  It may lead to unpredictable "
          "behaviour!\n",
          pipeBuf, signalLength);
  TRACE(TR_GENERAL, "CreateStatFsThread: stat thread in process %d.\n",
        static_cast<int>(m_helper.process()));
  return true;
}

int StatThread::tryOnTap(const Limit& limit) {
  int error = send(limit);
  if (error == 0)
    error = receive(limit);
  return error == 0 && m_reply.number != m_tap.number ? EPIPE : error;
}

// 0, or an errno value; after one that is not the call's own the helper is gone.
int StatThread::call(const char* path, int operation, void* buffer, int timeoutSeconds) {
  const std::size_t length = std::strlen(path);
  if (length > stathelper::MAX_PATH_LENGTH)
    return ENAMETOOLONG;
  m_tap.operation = operation;
  m_tap.pathLength = static_cast<std::uint32_t>(length);
  std::memcpy(m_tap.path, path, length);

  // For both attempts together: the caller waits no longer because a helper was gone.
  const Limit limit{Clock::now(), timeoutSeconds};
  int error = EPIPE;
  // A helper that somebody ended since the last call is replaced once.
  for (int attempt = 0; attempt < 2 && error == EPIPE; ++attempt) {
    if (!m_helper.isRunning() && !CreateStatFsThread())
      return errno;
    // A helper that was replaced must not have its old answer taken for this call's.
    ++m_tap.number;
    error = tryOnTap(limit);
    if (error != 0)
      m_helper.end();
  }
  if (error == ETIMEDOUT)
    TRACE(TR_ERROR, "zplNFSsyscalls: stale mount point for (%s)\n", path);
  if (error != 0)
    return error;
  if (m_reply.error == 0)
    std::memcpy(buffer, &m_reply.result,
                static_cast<std::size_t>(stathelper::resultSize(operation)));
  return m_reply.error;
}

int StatThread::zplNFSsyscalls(const char* path, int /*flag*/, void* buffer, int operation,
                               int timeoutSeconds, int& errCode) {
  TRACE_METHOD("zplNFSsyscalls(...)");
  const std::lock_guard guard(init_pStatMutex());
  if (stathelper::resultSize(operation) < 0) {
    TRACE(TR_ERROR, "zplNFSsyscalls: invalid flag(%d).\n", operation);
    errCode = EINVAL;
  } else {
    errCode = call(path, operation, buffer, timeoutSeconds);
  }
  const int result = errCode == 0 ? 0 : -1;
  TRACE(TR_GENERAL, "zplNFSsyscalls: returns(%d), errCode(%d).\n", result, errCode);
  return result;
}

void StatThread::cleanUp() {
  TRACE_METHOD("cleanUp()");
  const std::lock_guard guard(init_pStatMutex());
  m_helper.end();
}

}  // namespace orv
