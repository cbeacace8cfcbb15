#pragma once

#include <chrono>
#include <map>

#include "Scan/share/Engine.h"

namespace orv::share {

// Walks shares as tasks of job arrays that Slurm spreads over its nodes. What it says of them comes
// from its queue; a share whose state is there has ended whatever the queue says, and one that left
// the queue without a state has failed.
class SlurmEngine final : public Engine {
 public:
  SlurmEngine(const SpreadOptions& options, const WorkDirectory& work, const std::string& run,
              std::string program);

  void start(const std::vector<std::uint32_t>& shares) override;
  [[nodiscard]] std::vector<Ended> wait(std::chrono::milliseconds limit) override;
  void cancel() noexcept override;

 private:
  using Clock = std::chrono::steady_clock;
  struct Task {
    std::uint32_t share;
    bool hasRun = false;
    Clock::time_point missing = Clock::time_point::max();  // in the queue since
  };

  void submit();
  [[nodiscard]] bool submitSome(std::size_t count);
  void takeStates(std::vector<Ended>& ended);
  void askQueue(std::vector<Ended>& ended);
  // Both tell why the task has ended; nothing while it has not.
  [[nodiscard]] static std::string lookAt(const std::string& name, const std::string& state,
                                          Task& task);
  [[nodiscard]] std::string lookForMissing(const std::string& name, Task& task) const;
  [[nodiscard]] std::string endOf(const std::string& task) const;

  SpreadOptions m_options;
  const WorkDirectory& m_work;
  std::string m_jobName;
  std::string m_program;
  std::vector<std::uint32_t> m_waiting;  // to be submitted, when the controller answers
  std::map<std::string, Task> m_tasks;   // by their names in the queue, "<job>_<index>"
  Clock::time_point m_nextQuestion{};
  Clock::time_point m_nextSubmission{};
  bool m_controllerIsAway = false;
};

}  // namespace orv::share
