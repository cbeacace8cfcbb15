#pragma once

#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>

// The other end of the stat calls with a time-out: what the helper process does, and the form of
// what passes through its pipes. Used by virtstat only.
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
