#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "Scan/unix/AheadStep.h"
#include "Scan/unix/AheadWorker.h"

namespace orv {

// The number of helpers that `text` (of the environment variable ORV_WALK_THREADS; null when it is
// unset) asks for: 1 (none) when it is missing, 0 or no number, and at most ReadAhead::MAX_HELPERS.
[[nodiscard]] int walkThreads(const char* text);

// Lets helper threads read directories and examine entries ahead of the walk, which alone sees
// them, in stream order, and applies every rule to them. Owned by the scanner of one tree; every
// public operation is called on its thread, the consumer.
//
// The plan holds the steps that are not done in the order in which the walk will need them: behind
// a step come the subdirectories that it turned out to hold, then the rest of its directory. A
// helper takes the first step that is to be read or that has a share to be examined. The consumer
// takes the very step that it needs if nobody has it, and works like a helper instead of waiting
// while there is anything to do; so it can wait only for work in progress, which never waits.
//
// Memory is bounded: above BUDGET entries ahead helpers read no further. So are descriptors.
class ReadAhead final {
 public:
  static constexpr int MAX_HELPERS = 64;
  // Entries ahead of the walk above which nothing is read; one step more may be on its way per
  // helper, and one window of a large directory.
  static constexpr std::int64_t BUDGET = 32'768;
  // Directories that helpers hold open at a time, where the job's limit leaves room for them.
  static constexpr int MAX_OPEN = 256;

  // Starts no thread yet.
  explicit ReadAhead(int helpers);
  ~ReadAhead();
  ReadAhead(const ReadAhead&) = delete;
  ReadAhead& operator=(const ReadAhead&) = delete;

  // The scan root, read by the first step of what is returned.
  [[nodiscard]] std::unique_ptr<AheadDirectory> makeRoot(UniqueFd fd);
  // Starts the helpers on the tree below `root`. Without any, the consumer does all the work.
  void start(AheadDirectory& root, AheadRules rules);
  [[nodiscard]] bool isStarted() const noexcept { return m_isStarted; }
  // Ends and joins the helpers; what they were at is cut short. No directory that this object knows
  // may be freed before, but by `discard`.
  void stop() noexcept;

  // Returns when `step` is done.
  void await(AheadStep& step);
  // Gives back the room of `entries` entries of a step that the walk has come past, or of what the
  // step itself takes.
  void giveBack(AheadStep& step, std::uint32_t entries);
  void giveBackStep(AheadStep& step);

  // Entries that were read and that the walk has not come past, and what their steps take.
  [[nodiscard]] std::int64_t entriesAhead() const noexcept {
    return m_ahead.load(std::memory_order_relaxed);
  }

  // The directory of the entry that the walk has come to, for the reader that enters it; null if
  // there is none. One that was not taken is discarded with the next offer.
  void offer(std::unique_ptr<AheadDirectory> directory);
  [[nodiscard]] std::unique_ptr<AheadDirectory> takeOffered() noexcept;
  // Frees a directory that the walk gives up, with all that was read below it.
  void discard(std::unique_ptr<AheadDirectory> directory);

 private:
  using Lock = std::unique_lock<std::mutex>;

  void help();
  void work(AheadStep& step, AheadWorker& worker, Lock& lock);
  [[nodiscard]] bool readStep(AheadStep& step, AheadWorker& worker, Lock& lock);
  void examineShare(AheadStep& step, const AheadWorker& worker, Lock& lock);
  void markDone(AheadStep& step);
  [[nodiscard]] std::int64_t reserve(AheadStep& step) noexcept;
  [[nodiscard]] bool mayRead(const AheadStep& step) const noexcept;
  [[nodiscard]] AheadStep* firstToTake() const noexcept;
  [[nodiscard]] AheadStep* takeFor(AheadStep& step) const noexcept;
  void wakeForWork();
  void giveBackAll(AheadDirectory& directory);

  int m_helperCount;
  AheadRules m_rules;
  int m_openLimit;  // directories that may be open ahead
  bool m_isStarted = false;
  std::unique_ptr<AheadDirectory> m_offered;
  std::atomic<int> m_openCount{0};
  std::atomic<bool> m_quit{false};
  std::atomic<std::int64_t> m_ahead{0};
  AheadWorker m_consumer{m_rules, m_openCount, m_quit};

  std::mutex m_mutex;  // of all below, and of what AheadStep.h says
  AheadPlan m_plan;
  int m_sleeping = 0;  // helpers that wait for work
  int m_waking = 0;    // of those, that were woken
  const AheadStep* m_awaited = nullptr;
  bool m_consumerSleeps = false;
  std::condition_variable m_helpersWake;
  std::condition_variable m_consumerWakes;
  std::vector<std::thread> m_helpers;
};

}  // namespace orv
