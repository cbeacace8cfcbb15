#pragma once

#include <atomic>
#include <cstdint>
#include <functional>

#include "Scan/unix/AheadStep.h"
#include "Scan/unix/DirectoryStream.h"
#include "Scan/walk/FileRecord.h"

namespace orv {

// What the read-ahead must know of the walk. Fixed before the first helper starts.
struct AheadRules {
  const EntryRules* entries = nullptr;  // which directories the walk enters
  Membership membership = Membership::BY_DEVICE;
  int fsType = 0;              // tells which names are passed over
  bool isOnLocalDisk = false;  // large directories are examined in inode order

  // Whether the walk enters what the examined entry of a step names.
  [[nodiscard]] bool mayBeEntered(const AheadStep& step, std::uint32_t index) const;
};

// The work on steps that needs no lock: one per thread, owned by it. A step is given to one worker
// at a time to be read and finished, and to several for disjoint shares of its examination.
// Nothing here throws: a want of memory is reported as that directory's error.
class AheadWorker final {
 public:
  // Opens the directory `name` below the open `parent` (AT_FDCWD for a path), `noFollow` refuses a
  // link. -1 with errno on failure.
  using Opener = std::function<int(int parent, const char* name, bool noFollow)>;

  // All four must outlive the worker. `openCount` counts the directories that are open ahead;
  // `quit` ends the work early, as the stop flag does: what is left is not examined.
  AheadWorker(const AheadRules& rules, const Opener& open, std::atomic<int>& openCount,
              const std::atomic<bool>& quit) noexcept
      : m_rules(rules), m_open(open), m_openCount(openCount), m_quit(quit) {}

  // Opens the directory if that is still to be done, reads the step's names and makes the next
  // step if there is more.
  void read(AheadStep& step) noexcept;

  // Examines the entries from the `begin`th to before the `end`th in the step's order.
  void examine(AheadStep& step, std::uint32_t begin, std::uint32_t end) const noexcept;

  // After the last examination: finds the subdirectories that the walk may enter, and lets go of
  // the open directory.
  void finish(AheadStep& step) const noexcept;

 private:
  [[nodiscard]] bool isStopped() const noexcept;
  [[nodiscard]] int open(AheadStep& step) const;
  [[nodiscard]] int readNames(AheadStep& step);
  void keepNames(AheadStep& step) const;

  const AheadRules& m_rules;
  const Opener& m_open;
  std::atomic<int>& m_openCount;
  const std::atomic<bool>& m_quit;
  NameList m_list;
};

}  // namespace orv
