#pragma once

#include <chrono>
#include <map>

#include "Scan/share/Engine.h"
#include "Scan/share/SlurmCommand.h"
#include "Scan/share/Worker.h"

namespace orv::share {

// Walks shares with workers, which are tasks of job arrays that Slurm spreads over its nodes. A
// share whose state is there has ended whatever Slurm says; one whose worker left Slurm's queue
// without it has failed. As many workers are asked for as there are shares; those that nothing is
// left for end.
class SlurmEngine final : public Engine {
 public:
  SlurmEngine(const SpreadOptions& options, const WorkDirectory& work, const std::string& run,
              std::string program);
  ~SlurmEngine() override;

  void start(const std::vector<std::uint32_t>& shares) override;
  [[nodiscard]] std::vector<Ended> wait(std::chrono::milliseconds limit) override;
  [[nodiscard]] std::string hindrance() const override;
  void cancel() noexcept override;

 private:
  using Clock = std::chrono::steady_clock;
  struct Task {
    std::uint32_t worker = 0;
    Order order;          // the last one that it got; its share is 0 when that is done, or END
    bool hasRun = false;  // says the queue
    bool isReady = false;
    Clock::time_point begun;                               // to run
    Clock::time_point idle;                                // since, when it has no share
    Clock::time_point missing = Clock::time_point::max();  // in the queue since
    Clock::time_point limit = Clock::time_point::max();    // when Slurm ends it
    [[nodiscard]] bool hasShare() const noexcept;
    [[nodiscard]] bool isTimeShort() const noexcept;
    [[nodiscard]] bool mayBeGiven() const noexcept;
  };
  using Tasks = std::map<std::string, Task>;  // by their names in the queue, "<job>_<index>"

  void assign();
  void release() noexcept;
  void submit();
  [[nodiscard]] std::string submitSome(std::size_t count);
  void takeReady();
  void takeStates(std::vector<Ended>& ended);
  void askQueue(std::vector<Ended>& ended);
  void judge(const std::string& answer, std::vector<Ended>& ended);
  [[nodiscard]] std::string whyEnded(const std::string& name, Task& task, const std::string* state);
  [[nodiscard]] std::string endOf(const std::string& task);
  static void endTasks(const std::vector<std::string>& names);
  [[nodiscard]] bool isAnyAtWork() const;

  SpreadOptions m_options;
  const WorkDirectory& m_work;
  std::string m_jobName;
  std::string m_program;
  std::vector<std::uint32_t> m_waiting;  // shares that no worker has
  Tasks m_tasks;
  std::uint32_t m_lastWorker = 0;
  bool m_hasSubmitted = false;
  bool m_mayWait = false;  // tasks in the queue, also such as sbatch did not tell of
  bool m_hasAccounting = true;
  bool m_isControllerAway = false;
  std::string m_hindrance;                   // why a task waits in the queue, in Slurm's word
  std::unique_ptr<SlurmCommand> m_question;  // about the queue, under way
  Clock::time_point m_nextQuestion{};
  Clock::time_point m_nextSubmission{};
};

}  // namespace orv::share
