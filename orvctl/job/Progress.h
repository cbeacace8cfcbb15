#pragma once

#include <chrono>
#include <string>

#include "orvctl/job/JobLog.h"

namespace orv::ctl {

// Shows on standard error that a scan is alive: on a terminal one line that is rewritten several
// times a second, elsewhere a line at the start and one every half minute. Borrows the log, which
// it polls.
class Progress final {
 public:
  Progress(const std::string& root, JobLog& log);

  // How often `show` is to be called.
  [[nodiscard]] std::chrono::milliseconds interval() const noexcept;

  void show(double elapsedSeconds);

  // Removes the line from the terminal.
  void end();

 private:
  std::string m_root;
  JobLog& m_log;
  bool m_onTerminal;
};

}  // namespace orv::ctl
