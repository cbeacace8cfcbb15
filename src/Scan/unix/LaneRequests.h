#pragma once

#include <optional>
#include <vector>

#include "Scan/unix/Lane.h"
#include "Scan/unix/ReadAhead.h"

namespace orv {

// What the lanes of one filesystem are asked: the plan of the walk, what has to be asked again, and
// which lane gets it. Owned by a LaneAhead and used on its thread; nothing in here waits.
class LaneRequests final {
 public:
  // How matters stand when something is to be asked.
  struct Ask {
    Lane::Clock::time_point now;  // from which on a lane that had nothing to do is waited for
    bool isSilent;                // no lane has answered since one was lost
  };

  // Starts no lane. `ahead` counts the entries ahead of the walk; it and `leftBehind` must outlive
  // this.
  LaneRequests(int lanes, lane::Root root, LeftBehind& leftBehind,
               std::atomic<std::int64_t>& ahead);
  // Leaves all helpers behind, and forgets what they were asked.
  void end() noexcept;

  [[nodiscard]] const std::vector<std::unique_ptr<Lane>>& lanes() const noexcept { return m_lanes; }
  // What a lane opens first; its identity is unknown until the first has done so.
  [[nodiscard]] lane::Root& root() noexcept { return m_root; }
  // The steps that are not done. Whoever learns of a step inserts it.
  [[nodiscard]] AheadPlan& plan() noexcept { return m_plan; }

  // Entries that a directory of that size may turn out to hold, at most, in its first step. They
  // are counted as ahead from the request on.
  [[nodiscard]] static std::uint32_t expectedEntries(const AheadDirectory& directory) noexcept;
  // Whether the budget of the read-ahead allows another read.
  [[nodiscard]] bool mayRead() const noexcept {
    return m_ahead.load(std::memory_order_relaxed) < ReadAhead::BUDGET;
  }

  // Sends what the lanes have room for: what is to be asked again, then `needed` (for which the
  // walk waits; may be null) whatever the budget says, then the plan in its order.
  void dispatch(AheadStep* needed, const Ask& ask);
  // Has the next of the step's work done. False when there is none, or no lane can take it.
  [[nodiscard]] bool dispatchStep(AheadStep& step, const Ask& ask);
  // Why no lane runs: the errno value of the one that could not be started.
  [[nodiscard]] std::optional<int> startError() const noexcept { return m_startError; }

  // Takes back what a lane was asked that is gone: it comes first of all that is asked again.
  void putBack(LaneWork work);
  // No work may point to steps of discarded directories any more: they are freed next.
  void forgetDiscarded();

 private:
  void dispatchPlan(const Ask& ask);
  [[nodiscard]] bool dispatchWork(LaneWork work, const Ask& ask);
  void send(Lane& lane, LaneWork work, Lane::Clock::time_point now);
  [[nodiscard]] Lane* laneFor(const AheadStep& step, std::size_t textLength, bool isSilent);
  [[nodiscard]] Lane* freest();
  [[nodiscard]] bool isAnyBusy() const;
  [[nodiscard]] Lane* freshLane(bool isSilent);

  std::vector<std::unique_ptr<Lane>> m_lanes;
  lane::Root m_root;
  std::atomic<std::int64_t>& m_ahead;
  AheadPlan m_plan;
  std::deque<LaneWork> m_again;  // what was on lanes that are gone, to be asked once more
  std::uint64_t m_directories = 0;
  bool m_mayStartLanes = true;  // until one could not be made
  std::optional<int> m_startError;
};

}  // namespace orv
