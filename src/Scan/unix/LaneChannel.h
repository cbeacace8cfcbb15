#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

#include "Scan/walk/FileRecord.h"
#include "runtime/unx/SharedRing.h"

// What passes between the job and a lane, the helper process that reads a filesystem for it. Both
// are of one program, so records are plain structures.
namespace orv::lane {

// What a directory is told from another one by.
struct Identity {
  std::uint64_t inode = 0;  // 0 when it is not known yet
  std::uint32_t device = 0;

  static Identity of(const EntryStat& st) noexcept { return {st.inode, st.device}; }
  [[nodiscard]] bool isKnown() const noexcept { return inode != 0; }
  [[nodiscard]] bool operator==(const Identity&) const noexcept = default;
};

// Where a lane works. Copied into the helper with its process.
struct Root {
  std::string path;  // on this machine
  int fsType = 0;    // tells which names are passed over
  Membership membership = Membership::BY_DEVICE;
  Identity identity;  // known once a helper has opened it: one that takes over must find the same
};

// Bytes of directory entries that one request reads at most, and the fewest that an entry takes.
inline constexpr std::size_t READ_BYTES = 32'768;
inline constexpr std::size_t SMALLEST_ENTRY = 24;
// Longest path below the root.
inline constexpr std::size_t MAX_PATH_LENGTH = 4095;
// Entries that one request has examined at most.
inline constexpr std::uint32_t SHARE = 64;
inline constexpr std::size_t MAX_NAMES_LENGTH = SHARE * 256;

// Reads a stretch of a directory and examines its first entries, or examines entries that are
// named. The path below the root follows (none for the root itself), then the names, each with its
// zero.
struct Request {
  enum Kind : std::uint32_t { READ, EXAMINE };
  Kind kind = READ;
  std::uint32_t count = 0;      // entries to examine, for READ at most
  std::uint64_t directory = 0;  // its number: the helper keeps directories open for what follows
  Identity identity;            // of the directory: another one in its place is ESTALE
  std::int64_t position = 0;    // READ: where to begin in its stream
  std::uint32_t pathLength = 0;
  std::uint32_t namesLength = 0;
};

// A stretch of a directory; its names follow the reply, each with its zero.
struct List {
  std::int64_t position;  // where the next stretch begins
  std::uint32_t count;
  std::uint32_t textLength;
  bool isAtEnd;  // nothing follows
};

// The answer to a request: OPENED with the directory's own examination; after an error nothing
// more. For READ then LIST, with what was read before an error. Then EXAMINED for each of the
// entries in turn. The first reply of all is OPENED for the root.
struct Reply {
  enum Kind : std::uint32_t { OPENED, LIST, EXAMINED };
  Kind kind;
  std::int32_t error;  // errno
  union {
    EntryStat st;
    List list;
  };
};

// The memory that job and helper share. Records wait here, so that each is seen at once and at no
// cost; through the pipes pass only the wake-ups of a side that sleeps.
struct Channel {
  static constexpr std::uint64_t NEVER = ~std::uint64_t{0};

  SharedRing<65'536> requests;
  SharedRing<131'072> replies;
  alignas(64) std::atomic<bool> helperSleeps{false};  // wake it for more to do, or more room
  std::atomic<std::uint64_t> done{0};                 // requests that were answered
  // The job sleeps until that many were answered, or until the helper sleeps, too.
  std::atomic<std::uint64_t> wakeAt{NEVER};
};
static_assert(sizeof(Reply) + READ_BYTES < 131'072 / 2);
static_assert(sizeof(Request) + MAX_PATH_LENGTH + MAX_NAMES_LENGTH < 65'536 / 2);

// The life of a lane's helper process: opens the root, then answers requests until they end.
void serve(Channel& channel, const Root& root, int requests, int replies) noexcept;

}  // namespace orv::lane
