#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "Scan/walk/FileRecord.h"

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

// A queue of bytes in memory that two processes share: one writes, the other reads, and neither
// ever waits here. What was put is seen only once it is published, so a writer that is killed
// leaves whole records. `SIZE` is a power of two.
template <std::size_t SIZE>
class SharedRing final {
 public:
  static_assert((SIZE & (SIZE - 1)) == 0 && std::atomic<std::uint64_t>::is_always_lock_free);

  // For the writer. No more may be put than there is room for.
  [[nodiscard]] std::size_t room() const noexcept { return SIZE - (m_put - m_read.load()); }
  void put(const void* data, std::size_t size) noexcept {
    if (size == 0)
      return;  // `data` may be null then, which no copy allows
    const std::size_t at = m_put % SIZE;
    const std::size_t first = std::min(size, SIZE - at);
    std::memcpy(m_bytes + at, data, first);
    std::memcpy(m_bytes, static_cast<const char*>(data) + first, size - first);
    m_put += size;
  }
  void publish() noexcept { m_written.store(m_put); }

  // For the reader. No more may be taken than there is; its room is the writer's at `release`.
  [[nodiscard]] std::size_t available() const noexcept { return m_written.load() - m_taken; }
  void take(void* data, std::size_t size) noexcept {
    if (size == 0)
      return;
    const std::size_t at = m_taken % SIZE;
    const std::size_t first = std::min(size, SIZE - at);
    std::memcpy(data, m_bytes + at, first);
    std::memcpy(static_cast<char*>(data) + first, m_bytes, size - first);
    m_taken += size;
  }
  void release() noexcept { m_read.store(m_taken); }

 private:
  // A line of the cache each for the writer's and the reader's.
  alignas(64) std::uint64_t m_put = 0;
  std::atomic<std::uint64_t> m_written{0};
  alignas(64) std::uint64_t m_taken = 0;
  std::atomic<std::uint64_t> m_read{0};
  alignas(64) char m_bytes[SIZE];
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
