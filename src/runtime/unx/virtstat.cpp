#include "runtime/unx/virtstat.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <mutex>
#include <vector>

#include "runtime/thrd/StopFlag.h"
#include "runtime/unx/StatHelper.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"
#include "runtime/ut/UniqueFd.h"

namespace orv {
namespace {

using stathelper::Reply;
using stathelper::Tap;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// Longest sleep between two looks at the stop flag: a signal that arrives just before the sleep
// does not cut it short.
constexpr milliseconds STOP_POLL_INTERVAL{200};

enum class Elapsed { CONTINUE, TIMEOUT };

// The time that a call may take.
struct Limit {
  Clock::time_point start;
  int seconds;
};

// Whether the call may go on waiting, and if so for how long at a stretch.
Elapsed checkElapsedTime(const Limit& limit, milliseconds& stretch) {
  const auto left = std::chrono::ceil<milliseconds>(
      limit.start + std::chrono::seconds(limit.seconds) - Clock::now());
  stretch = std::min(left, STOP_POLL_INTERVAL);
  return left.count() > 0 ? Elapsed::CONTINUE : Elapsed::TIMEOUT;
}

// Waits until `fd` is ready for `events`, or has lost its other end. 0, or the errno value of the
// call.
int awaitReady(int fd, short events, const Limit& limit) {
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

// Writes all of `data`. 0, or an errno value; EPIPE when the helper is gone.
int send(int fd, const char* data, std::size_t size, const Limit& limit) {
  while (size > 0) {
    const ssize_t written = ::write(fd, data, size);
    if (written >= 0) {
      data += written;
      size -= static_cast<std::size_t>(written);
    } else if (errno == EAGAIN) {
      if (const int error = awaitReady(fd, POLLOUT, limit); error != 0)
        return error;
    } else if (errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

// Reads `size` bytes. 0, or an errno value; EPIPE when the helper is gone.
int receive(int fd, char* data, std::size_t size, const Limit& limit) {
  while (size > 0) {
    if (const int error = awaitReady(fd, POLLIN, limit); error != 0)
      return error;
    const ssize_t got = ::read(fd, data, size);
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

}  // namespace

// The stat thread in its helper process: not there until it is first needed, and again after each
// call that did not end well.
class StatThread::Helper final {
 public:
  // Has `m_tap` carried out. 0, or an errno value; after one that is not the call's own the helper
  // is gone.
  int call(const char* path, int flag, void* buffer, int operation, int timeoutSeconds);

  // Kills the helper, without waiting for its end, and closes the pipes.
  void cleanUp();

 private:
  [[nodiscard]] bool CreateStatFsThread();
  [[nodiscard]] int tryOnTap(const Limit& limit);
  [[nodiscard]] int receiveEntries(const Limit& limit);
  void reapAbandoned();

  UniqueFd m_requests;
  UniqueFd m_replies;
  pid_t m_helper = -1;
  std::vector<pid_t> m_abandoned;  // killed, and not yet seen to have ended
  Tap m_tap{};
  Reply m_reply{};
  DirectoryBlock* m_block = nullptr;  // what the call fills; null for another than VS_READDIR
};

namespace {

// A pipe whose `ownEnd` (0 to read, 1 to write) never blocks.
bool makePipe(UniqueFd (&ends)[2], int ownEnd) {
  int fds[2];
  if (::pipe2(fds, O_CLOEXEC) != 0)
    return false;
  ends[0].reset(fds[0]);
  ends[1].reset(fds[1]);
  return ::fcntl(fds[ownEnd], F_SETFL, O_NONBLOCK) == 0;
}

std::mutex& init_pStatMutex() {
  static std::mutex mutex;
  return mutex;
}

}  // namespace

bool StatThread::Helper::CreateStatFsThread() {
  TRACE_METHOD("CreateStatFsThread()");
  reapAbandoned();
  UniqueFd requests[2];
  UniqueFd replies[2];
  if (!makePipe(requests, 1) || !makePipe(replies, 0))
    return false;
  const long pipeBuf = ::fcntl(requests[1].get(), F_GETPIPE_SZ);
  constexpr long signalLength = sizeof(Tap);
  if (pipeBuf < signalLength)
    TRACE(TR_ERROR,
          "CreateStatFsThread: pipeBuf (%ld) < signalLength (%ld).  It may lead to unpredictable "
          "behaviour!\n",
          pipeBuf, signalLength);
  const pid_t parent = ::getpid();
  const pid_t helper = ::fork();
  if (helper == 0)
    stathelper::serve(requests[0].get(), replies[1].get(), parent);
  if (helper < 0)
    return false;
  m_helper = helper;
  m_requests = std::move(requests[1]);
  m_replies = std::move(replies[0]);
  TRACE(TR_GENERAL, "CreateStatFsThread: stat thread in process %d.\n", static_cast<int>(helper));
  return true;
}

void StatThread::Helper::cleanUp() {
  TRACE_METHOD("cleanUp()");
  m_requests.reset();
  m_replies.reset();
  if (m_helper > 0) {
    ::kill(m_helper, SIGKILL);
    m_abandoned.push_back(m_helper);
    m_helper = -1;
  }
  reapAbandoned();
}

void StatThread::Helper::reapAbandoned() {
  std::erase_if(m_abandoned, [](pid_t helper) { return ::waitpid(helper, nullptr, WNOHANG) != 0; });
}

int StatThread::Helper::tryOnTap(const Limit& limit) {
  int error = send(m_requests.get(), reinterpret_cast<const char*>(&m_tap), m_tap.length(), limit);
  if (error == 0)
    error = receive(m_replies.get(), reinterpret_cast<char*>(&m_reply), sizeof m_reply, limit);
  if (error == 0 && m_reply.number != m_tap.number)
    error = EPIPE;
  if (error == 0 && m_reply.error == 0 && m_block != nullptr)
    error = receiveEntries(limit);
  return error;
}

// The entries of a directory follow the reply.
int StatThread::Helper::receiveEntries(const Limit& limit) {
  const stathelper::Stretch& stretch = m_reply.result.stretch;
  if (stretch.size > DirectoryBlock::CAPACITY)
    return EPIPE;
  m_block->position = stretch.position;
  m_block->size = stretch.size;
  m_block->isAtEnd = stretch.isAtEnd;
  return receive(m_replies.get(), m_block->entries, stretch.size, limit);
}

int StatThread::Helper::call(const char* path, int flag, void* buffer, int operation,
                             int timeoutSeconds) {
  const std::size_t length = std::strlen(path);
  if (length > stathelper::MAX_PATH_LENGTH)
    return ENAMETOOLONG;
  m_tap.operation = operation;
  m_tap.flag = flag;
  m_block = operation == VS_READDIR ? static_cast<DirectoryBlock*>(buffer) : nullptr;
  m_tap.position = m_block != nullptr ? m_block->position : 0;
  m_tap.pathLength = static_cast<std::uint32_t>(length);
  std::memcpy(m_tap.path, path, length);

  const Limit limit{Clock::now(), timeoutSeconds};
  int error = EPIPE;
  // A helper that somebody ended since the last call is replaced once.
  for (int attempt = 0; attempt < 2 && error == EPIPE; ++attempt) {
    if (!m_requests && !CreateStatFsThread())
      return errno;
    ++m_tap.number;
    error = tryOnTap(limit);
    if (error != 0)
      cleanUp();
  }
  if (error == ETIMEDOUT)
    TRACE(TR_ERROR, "zplNFSsyscalls: stale mount point for (%s)\n", path);
  if (error != 0)
    return error;
  if (m_reply.error == 0 && m_block == nullptr)
    std::memcpy(buffer, &m_reply.result,
                static_cast<std::size_t>(stathelper::resultSize(operation)));
  return m_reply.error;
}

StatThread::StatThread() : m_helper(std::make_unique<Helper>()) {}

StatThread::~StatThread() {
  cleanUp();
}

int StatThread::zplNFSsyscalls(const char* path, int flag, void* buffer, int operation,
                               int timeoutSeconds, int& errCode) {
  TRACE_METHOD("zplNFSsyscalls(...)");
  const std::lock_guard guard(init_pStatMutex());
  if (stathelper::resultSize(operation) < 0) {
    TRACE(TR_ERROR, "zplNFSsyscalls: invalid flag(%d).\n", operation);
    errCode = EINVAL;
  } else {
    errCode = m_helper->call(path, flag, buffer, operation, timeoutSeconds);
  }
  const int result = errCode == 0 ? 0 : -1;
  TRACE(TR_GENERAL, "zplNFSsyscalls: returns(%d), errCode(%d).\n", result, errCode);
  return result;
}

void StatThread::cleanUp() {
  const std::lock_guard guard(init_pStatMutex());
  m_helper->cleanUp();
}

}  // namespace orv
