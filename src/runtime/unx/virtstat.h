#pragma once

#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>

#include "runtime/unx/HelperProcess.h"

// Stat calls with a time-out, for mounts whose server may not answer. The thread that makes them
// lives in a helper process (see HelperProcess.h): a helper that did not answer in time is killed
// and left behind, never waited for; the next call starts a fresh one.
// The form of what passes through the helper's pipes, and what the helper does.
namespace orv::stathelper {

// Longest path, in characters.
inline constexpr std::size_t MAX_PATH_LENGTH = 4096;

// A request. It is written up to the end of its path. The reply bears its number, so that an answer
// is never taken for that of another request.
struct Tap {
  std::uint64_t number;
  std::int32_t operation;
  std::uint32_t pathLength;
  char path[MAX_PATH_LENGTH + 1];

  [[nodiscard]] std::size_t length() const noexcept { return offsetof(Tap, path) + pathLength; }
};

// What the calls fill.
union Result {
  struct statfs64 statfs;
  struct statvfs64 statvfs;
  struct stat stat;
};

// A reply, always written whole.
struct Reply {
  std::uint64_t number;
  std::int32_t error;  // 0, or the errno value of the call
  Result result;
};

// Bytes of the structure that `operation` fills; -1 for an unknown operation.
[[nodiscard]] ssize_t resultSize(int operation) noexcept;

// The life of the helper process: answers requests until they end.
void serve(int requests, int replies) noexcept;

}  // namespace orv::stathelper

namespace orv {

// The calls that can be made, by their numbers. Each fills a structure of the caller's.
enum StatOperation : int {
  VS_STATFS = 0,   // struct statfs64
  VS_STATVFS = 1,  // struct statvfs64
  VS_STAT = 2,     // struct stat
  VS_LSTAT = 3,    // struct stat, never following a link
};

// Who has those calls made: nothing but a name until the first one. Owned by the scan, which hands
// it to whoever asks the filesystems something; for any thread, all calls of the process are made
// one after the other. Its end is that of its helper.
class StatThread final {
 public:
  using Clock = std::chrono::steady_clock;

  StatThread() noexcept : m_helper(m_leftBehind) {}
  StatThread(const StatThread&) = delete;
  StatThread& operator=(const StatThread&) = delete;

  // Makes the call `operation` on `path` (absolute, at most 4,096 characters) and waits at most
  // `timeoutSeconds` (above 0) for its answer, less when the process-wide stop flag is set.
  // `buffer` takes the structure and is worth nothing after a failure. `flag` has no meaning for
  // any of the calls.
  //
  // 0; or -1 with `errCode` set to the call's errno, ETIMEDOUT when no answer came in time, EINTR
  // when the job was stopped meanwhile, EINVAL for an unknown operation, or why no helper could be
  // made.
  [[nodiscard]] int zplNFSsyscalls(const char* path, int flag, void* buffer, int operation,
                                   int timeoutSeconds, int& errCode);

  // Kills the helper, without waiting for its end. The next call would start another.
  void cleanUp();

  // The job's helpers that sleep in the kernel, whoever started them.
  [[nodiscard]] LeftBehind& leftBehind() noexcept { return m_leftBehind; }

 private:
  // The time that a call may take.
  struct Limit {
    Clock::time_point start;
    int seconds;
  };
  enum class Elapsed { CONTINUE, TIMEOUT };

  [[nodiscard]] static Elapsed checkElapsedTime(const Limit& limit,
                                                std::chrono::milliseconds& stretch);
  [[nodiscard]] static int awaitReady(int fd, short events, const Limit& limit);
  [[nodiscard]] int call(const char* path, int operation, void* buffer, int timeoutSeconds);
  [[nodiscard]] bool CreateStatFsThread();
  [[nodiscard]] int tryOnTap(const Limit& limit);
  [[nodiscard]] int send(const Limit& limit) const;
  [[nodiscard]] int receive(const Limit& limit);

  LeftBehind m_leftBehind;
  HelperProcess m_helper;  // not there until it is first needed, and after a call that did not end
  stathelper::Tap m_tap{};
  stathelper::Reply m_reply{};
};

}  // namespace orv
