#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Scan/unix/LaneServer.h"
#include "Scan/walk/FileRecord.h"
#include "runtime/ut/UniqueFd.h"

// What the read-ahead keeps of the tree between the walk and the farthest directory read. Who may
// touch which member when is said in ThreadAhead.h; "the lock" is its own. Lanes work on the walk's
// thread alone.
namespace orv {

// An open directory, shared by the steps that examine in it and the subdirectories that are still
// to be opened below it; closed by the last of them, on its thread.
class OpenDirectory final {
 public:
  // `count` is the number of directories open ahead; it must outlive the directory.
  OpenDirectory(UniqueFd fd, std::atomic<int>& count) noexcept
      : m_fd(std::move(fd)), m_count(count) {
    m_count.fetch_add(1, std::memory_order_relaxed);
  }
  ~OpenDirectory() { m_count.fetch_sub(1, std::memory_order_relaxed); }
  OpenDirectory(const OpenDirectory&) = delete;
  OpenDirectory& operator=(const OpenDirectory&) = delete;

  [[nodiscard]] int fd() const noexcept { return m_fd.get(); }

 private:
  UniqueFd m_fd;
  std::atomic<int>& m_count;
};

struct AheadStep;
class Lane;

// A directory that the walk will come to. Owned by the step that holds its entry until the walk
// enters it, then by the reader of its level.
struct AheadDirectory {
  AheadDirectory() = default;
  AheadDirectory(const AheadDirectory&) = delete;
  AheadDirectory& operator=(const AheadDirectory&) = delete;
  ~AheadDirectory();

  // With threads: where it is to be opened.
  std::shared_ptr<const OpenDirectory> parent;  // until it is opened
  const char* name = nullptr;                   // below `parent`, in the step that owns this
  // With lanes.
  std::string path;          // below the scan root
  std::uint64_t number = 0;  // once it was asked for
  lane::Identity identity;   // once it was opened
  Lane* lane = nullptr;      // that opened it, to read it to its end

  std::int64_t size = 0;     // of the directory itself, in bytes
  int level = 0;             // 0 for the scan root
  bool isLarge = false;      // worth examining in inode order, once it has been read so far
  bool isDiscarded = false;  // the walk does not enter it; with the lock
  int openError = 0;         // errno of opening it
  int readError = 0;         // errno that ended its stream
  // The steps that the walk has not come past, in stream order; empty once it is at the end.
  std::unique_ptr<AheadStep> firstStep;
};

// A run of entries of one directory, in stream order: first to be read, then to be examined in
// shares, which several threads may take, then to be delivered by the walk.
struct AheadStep {
  enum class State : std::uint8_t { UNREAD, READING, EXAMINING, FINISHING, DONE };

  // An entry with its examination.
  struct Entry {
    EntryStat st;              // valid when error is 0
    std::uint32_t nameOffset;  // in `names`
    int error;                 // errno of the examination; PENDING until it was examined
  };
  static constexpr int PENDING = -1;
  struct Subdirectory {
    std::uint32_t index;  // of its entry
    std::unique_ptr<AheadDirectory> directory;
  };

  explicit AheadStep(AheadDirectory& owner) noexcept : directory(owner) {}
  AheadStep(const AheadStep&) = delete;
  AheadStep& operator=(const AheadStep&) = delete;

  [[nodiscard]] const char* nameOf(std::uint32_t index) const noexcept {
    return names.get() + entries[index].nameOffset;
  }
  // Bytes of the names from the `begin`th to before the `end`th, which lie one behind the other.
  [[nodiscard]] std::size_t namesLength(std::uint32_t begin, std::uint32_t end) const noexcept {
    return (end == count ? textLength : entries[end].nameOffset) - entries[begin].nameOffset;
  }
  // Takes the names over, `total` of them, each with its zero; none is examined yet.
  void keep(std::unique_ptr<char[]> text, std::uint32_t total, std::uint32_t length);

  // Whether the walk may use the step; everything below is then at rest.
  [[nodiscard]] bool isDone() const noexcept { return done.load(std::memory_order_acquire); }

  AheadDirectory& directory;
  std::shared_ptr<const OpenDirectory> opened;  // null before a first step and after the last use
  std::uint32_t count = 0;
  std::unique_ptr<Entry[]> entries;
  std::unique_ptr<char[]> names;
  std::uint32_t textLength = 0;              // of `names`, with lanes
  std::unique_ptr<std::uint32_t[]> order;    // of examination; null for stream order
  std::vector<Subdirectory> subdirectories;  // those that the walk may enter, by index
  std::unique_ptr<AheadStep> next;           // null after the last step of the directory
  bool isContinuation = false;               // with lanes: not the first of its directory
  std::int64_t position = 0;                 // likewise: where it begins in the stream
  std::uint32_t givenBack = 0;               // room that the walk gave back; the consumer's own

  // With the lock.
  State state = State::UNREAD;
  bool mayUseWindow = false;    // room for a whole window is reserved
  std::uint32_t claimed = 0;    // entries that were given to be examined
  std::uint32_t examining = 0;  // shares being examined
  AheadStep* earlier = nullptr;
  AheadStep* later = nullptr;
  bool isPlanned = false;

 private:
  friend class ReadAhead;
  std::atomic<bool> done{false};
};

// The steps that are not done, in the order in which the walk will need them: linked through
// `earlier` and `later`, which serve this list only; it owns nothing. Used with the lock.
class AheadPlan final {
 public:
  [[nodiscard]] AheadStep* front() const noexcept { return m_front; }
  // `after` null puts `step` to the front.
  void insert(AheadStep& step, AheadStep* after) noexcept;
  void insertBefore(AheadStep& step, AheadStep& planned) noexcept { insert(step, planned.earlier); }
  // Does nothing for a step that is not planned.
  void remove(AheadStep& step) noexcept;

  // Marks a directory and all that is known below it as discarded, and removes what nobody works
  // at. A step that somebody works at, to be called again when that is done; null when there is
  // none.
  [[nodiscard]] AheadStep* withdraw(AheadDirectory& directory) noexcept;

 private:
  AheadStep* m_front = nullptr;
};

}  // namespace orv
