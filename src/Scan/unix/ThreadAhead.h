#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "Scan/unix/ReadAhead.h"

namespace orv {

// Reads ahead with threads of the job. The thread of the walk is the consumer.
//
// A helper takes the first step of the plan that is to be read or that has a share to be examined.
// The consumer takes the very step that it needs if nobody has it, and works like a helper instead
// of waiting while there is anything to do; so it can wait only for work in progress, which never
// waits. Descriptors are bounded as memory is.
class ThreadAhead final : public ReadAhead {
 public:
  // Directories that helpers hold open at a time, where the job's limit leaves room for them.
  static constexpr int MAX_OPEN = 256;

  // Starts no thread yet. `open` is called on any thread.
  ThreadAhead(int helpers, Membership membership, AheadWorker::Opener open);
  ~ThreadAhead() override;

  [[nodiscard]] int openRoot(const Origin& origin, std::unique_ptr<AheadDirectory>& root,
                             EntryStat& st) override;
  // Without any helper, the consumer does all the work.
  void start(AheadDirectory& root, const AheadRules& rules) override;
  void stop() noexcept override;
  void awaitOpened(AheadDirectory& directory) override { await(*directory.firstStep); }
  [[nodiscard]] bool awaitEntry(AheadStep& step, std::uint32_t position) override {
    await(step);
    return position < step.count;
  }
  void giveBack(AheadStep& step, std::uint32_t entries) override;
  void discard(std::unique_ptr<AheadDirectory> directory) override;

 private:
  using Lock = std::unique_lock<std::mutex>;

  // Returns when `step` is done.
  void await(AheadStep& step);
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

  int m_helperCount;
  Membership m_membership;
  AheadWorker::Opener m_open;
  int m_openLimit;  // directories that may be open ahead
  std::atomic<int> m_openCount{0};
  std::atomic<bool> m_quit{false};
  AheadWorker m_consumer{m_rules, m_open, m_openCount, m_quit};

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
