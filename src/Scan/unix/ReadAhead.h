#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "Scan/unix/AheadStep.h"
#include "Scan/unix/AheadWorker.h"

namespace orv {

// The number of helpers that `text` (of the environment variable ORV_WALK_THREADS; null when it is
// unset) asks for: 1 (none) when it is missing, 0 or no number, and at most ReadAhead::MAX_HELPERS.
[[nodiscard]] int walkThreads(const char* text);

// Has directories read and entries examined ahead of the walk, which alone sees them, in stream
// order, and applies every rule to them. Owned by the scanner of one tree; every public operation
// is called on its thread. Who does the work is the subclass's matter: threads of the job, or
// helper processes where the filesystem may not answer.
//
// The plan holds the steps that are not done in the order in which the walk will need them: behind
// or before a step come the subdirectories that it turned out to hold, then the rest of its
// directory.
//
// Memory is bounded: above BUDGET entries ahead nothing more is read, but what the walk waits for.
class ReadAhead {
 public:
  static constexpr int MAX_HELPERS = 64;
  // Entries ahead of the walk above which nothing is read; one step more may be on its way per
  // helper, and one window of a large directory.
  static constexpr std::int64_t BUDGET = 32'768;

  ReadAhead() = default;
  virtual ~ReadAhead() = default;
  ReadAhead(const ReadAhead&) = delete;
  ReadAhead& operator=(const ReadAhead&) = delete;

  // Where the walk begins: `path` on this machine or, when `parent` is an open directory, below it,
  // and then never through a link.
  struct Origin {
    int parent;  // -1 without one
    std::string path;
    int level;  // 0 for the scan root
  };
  // Opens and examines that directory; `root` is read by its first step. 0, or the errno value.
  [[nodiscard]] virtual int openRoot(const Origin& origin, std::unique_ptr<AheadDirectory>& root,
                                     EntryStat& st) = 0;
  // Begins with the work on the tree below `root`.
  virtual void start(AheadDirectory& root, const AheadRules& rules) = 0;
  [[nodiscard]] bool isStarted() const noexcept { return m_isStarted; }
  // Ends the helpers; what they were at is cut short. No directory that this object knows may be
  // freed before, but by `discard`.
  virtual void stop() noexcept = 0;

  // Returns when the directory has been opened and its first names are known, or why they are not.
  virtual void awaitOpened(AheadDirectory& directory) = 0;
  // Returns when the entry at `position` of the step has been examined: true; or false when the
  // step is done and holds no such entry. Throws ScanAbortException* when the scan is stopped.
  [[nodiscard]] virtual bool awaitEntry(AheadStep& step, std::uint32_t position) = 0;
  // Gives back the room of `entries` entries of a step that the walk has come past, or of what the
  // step itself takes.
  virtual void giveBack(AheadStep& step, std::uint32_t entries) { (void)lower(step, entries); }
  void giveBackStep(AheadStep& step) { giveBack(step, step.count + STEP_COST - step.givenBack); }

  // Entries that were read and that the walk has not come past, and what their steps take.
  [[nodiscard]] std::int64_t entriesAhead() const noexcept {
    return m_ahead.load(std::memory_order_relaxed);
  }

  // The directory of the entry that the walk has come to, for the reader that enters it; null if
  // there is none. One that was not taken is discarded with the next offer.
  void offer(std::unique_ptr<AheadDirectory> directory);
  [[nodiscard]] std::unique_ptr<AheadDirectory> takeOffered() noexcept;
  // Frees a directory that the walk gives up, with all that was read below it.
  virtual void discard(std::unique_ptr<AheadDirectory> directory) = 0;

  // Why the filesystem can no longer be read; empty while it can.
  [[nodiscard]] const std::string& failure() const noexcept { return m_failure; }

 protected:
  // What a step takes besides its entries, in entries.
  static constexpr std::uint32_t STEP_COST = 8;

  // Gives back room; what there was ahead before.
  std::int64_t lower(AheadStep& step, std::uint32_t entries) noexcept {
    step.givenBack += entries;
    return m_ahead.fetch_sub(entries, std::memory_order_relaxed);
  }
  // The last that is done to a step: the walk may free it from then on.
  static void setDone(AheadStep& step) noexcept;
  void giveBackAll(AheadDirectory& directory);

  AheadRules m_rules;
  bool m_isStarted = false;
  std::atomic<std::int64_t> m_ahead{0};
  std::string m_failure;

 private:
  std::unique_ptr<AheadDirectory> m_offered;
};

}  // namespace orv
