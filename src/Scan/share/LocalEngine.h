#pragma once

#include <sys/types.h>

#include <map>

#include "Scan/share/Engine.h"

namespace orv::share {

// Walks shares with processes of this machine. They end with the coordinator, however it ends.
class LocalEngine final : public Engine {
 public:
  LocalEngine(const WorkDirectory& work, std::string program);
  ~LocalEngine() override;

  void start(const std::vector<std::uint32_t>& shares) override;
  [[nodiscard]] std::vector<Ended> wait(std::chrono::milliseconds limit) override;
  void cancel() noexcept override;

 private:
  const WorkDirectory& m_work;
  std::string m_program;
  std::map<pid_t, std::uint32_t> m_running;
  std::vector<Ended> m_notStarted;
  std::vector<std::uint32_t> m_waiting;  // until a process ends, for there may be no more of them
};

}  // namespace orv::share
