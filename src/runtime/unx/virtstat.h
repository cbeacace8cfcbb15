#pragma once

#include <dirent.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <memory>

// Stat calls with a time-out, for mounts whose server may not answer.
//
// A thread asleep in the kernel keeps its whole process from ending, even after SIGKILL, and the
// process's locks from being freed. The thread that makes the calls therefore lives in a helper
// process that holds nothing of this one but the two pipes of its requests and replies; it dies
// with this process, or as soon as the kernel lets it. A helper that did not answer in time is
// killed and left behind, never waited for; the next call starts a fresh one.
//
// The helper is forked from the calling process and must not be used on both sides of a later fork.
// SIGPIPE has to be ignored.
namespace orv {

// The calls that can be made, by their numbers. Each fills a structure of the caller's.
enum StatOperation : int {
  VS_STATFS = 0,   // struct statfs64
  VS_STATVFS = 1,  // struct statvfs64
  VS_STAT = 2,     // struct stat
  VS_LSTAT = 3,    // struct stat, never following a link
  VS_READDIR = 4,  // DirectoryBlock
};

// A stretch of a directory. Several calls read it whole, each opening it anew: a helper that is
// gone takes no half-read directory with it.
struct DirectoryBlock {
  static constexpr std::size_t CAPACITY = 32'768;

  std::int64_t position = 0;  // where to begin, 0 for the start; then where the next stretch begins
  std::uint32_t size = 0;     // bytes of `entries` that are filled
  bool isAtEnd = false;       // nothing follows
  alignas(dirent64) char entries[CAPACITY];  // one dirent64 after the other, each d_reclen long
};

// Who has those calls made: nothing but a name until the first one. Owned by the scan, which hands
// it to whoever asks the filesystems something; for any thread, one call after the other. Its end
// is that of its helper, which is not waited for.
class StatThread final {
 public:
  StatThread();
  ~StatThread();
  StatThread(const StatThread&) = delete;
  StatThread& operator=(const StatThread&) = delete;

  // Makes the call `operation` on `path` (absolute, at most 4,096 characters) and waits at most
  // `timeoutSeconds` (above 0) for its answer, less when the process-wide stop flag is set.
  //
  // `buffer` takes the structure and is worth nothing after a failure. `flag` is added to the flags
  // with which VS_READDIR opens the directory (O_NOATIME where that is allowed, O_NOFOLLOW); the
  // others ignore it.
  //
  // 0; or -1 with `errCode` set to the call's errno, ETIMEDOUT when no answer came in time, EINTR
  // when the job was stopped meanwhile, EINVAL for an unknown operation, or why no helper could be
  // made. Calls of several threads are made one after the other.
  [[nodiscard]] int zplNFSsyscalls(const char* path, int flag, void* buffer, int operation,
                                   int timeoutSeconds, int& errCode);

  // Ends the helper without waiting for it. The next call would start another.
  void cleanUp();

 private:
  class Helper;
  std::unique_ptr<Helper> m_helper;
};

}  // namespace orv
