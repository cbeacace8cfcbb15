#pragma once

#include <poll.h>

#include <vector>

#include "Scan/unix/LaneRequests.h"
#include "Scan/unix/ReadAhead.h"

namespace orv {

// Reads a filesystem that may not answer: its directories are opened, read and examined by helper
// processes, the lanes, and this process never makes a call on it. The job stays single-threaded:
// whenever the walk asks for an entry or comes past some, the answers that are there are taken and
// new requests are sent; where it must wait, it waits for the lanes' wake-ups.
//
// A lane whose next answer does not come within the time-out is killed and left behind. What it was
// asked last is answered with that error (the name that was being examined, the directory that was
// being opened or read); a fresh lane goes on behind it. The filesystem is given up when its lanes
// stay silent for MAX_SILENT_ROUNDS time-outs on end, when too many helpers are left behind, and
// when a lane that takes over finds another directory in the root's place.
class LaneAhead final : public ReadAhead {
 public:
  // Time-outs on end without an answer from any lane.
  static constexpr int MAX_SILENT_ROUNDS = 10;
  // Helpers that may be asleep in the kernel, unless there are as many lanes.
  static constexpr std::size_t MAX_LEFT_BEHIND = 64;

  // Starts no lane yet. `root` lacks its path. `leftBehind` must outlive this.
  LaneAhead(int lanes, int timeoutSeconds, lane::Root root, LeftBehind& leftBehind);
  ~LaneAhead() override { stop(); }

  // ETIMEDOUT when the root does not answer.
  [[nodiscard]] int openRoot(const Origin& origin, std::unique_ptr<AheadDirectory>& root,
                             EntryStat& st) override;
  void start(AheadDirectory& root, const AheadRules& rules) override;
  void stop() noexcept override;
  void awaitOpened(AheadDirectory& directory) override;
  [[nodiscard]] bool awaitEntry(AheadStep& step, std::uint32_t position) override;
  void giveBack(AheadStep& step, std::uint32_t entries) override;
  void discard(std::unique_ptr<AheadDirectory> directory) override;

 private:
  template <typename IsReady>
  void awaitUntil(IsReady isReady, AheadStep* needed);
  void sleep();
  template <typename Work>
  void orGiveUp(Work work);
  void pump(AheadStep* needed);

  void takeReplies(Lane& lane);
  void handle(Lane& lane, const lane::Reply& reply);
  void rootOpened(Lane& lane, const lane::Reply& reply);
  void opened(Lane& lane, LaneWork& work, const lane::Reply& reply);
  void listed(Lane& lane, LaneWork& work, const lane::Reply& reply);
  void examined(LaneWork& work, int error, const EntryStat* st);
  void endRead(AheadStep& step, int openError, int readError);
  void endShare(AheadStep& step);
  void endStep(AheadStep& step);
  void planSubdirectory(AheadStep& step, std::uint32_t index);
  void popWork(Lane& lane);

  void judge(Lane& lane, Lane::Clock::duration elapsed);
  void lose(Lane& lane, int error);
  [[nodiscard]] bool charge(LaneWork& work, int error);
  void countSilence(const Lane& lane, int error);
  void giveUp(int error, std::string why);
  void fail(AheadStep& step);
  void withdraw(AheadDirectory& directory);

  [[nodiscard]] LaneRequests::Ask ask() const noexcept;

  Lane::Clock::duration m_timeout;
  LaneRequests m_requests;
  LeftBehind& m_leftBehind;
  std::size_t m_maxLeftBehind;

  lane::Reply m_rootReply{};
  Lane::Clock::time_point m_pumped;  // the last time
  int m_silentOnEnd = 0;             // helpers lost since the last answer
  int m_silentRounds = 0;            // of those, that began after the one before had ended
  Lane::Clock::time_point m_roundEnd;
  int m_failureError = 0;
  std::vector<pollfd> m_polled;
};

}  // namespace orv
