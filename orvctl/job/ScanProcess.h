#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace orv::ctl {

// How a scan program ended.
struct ScanEnd {
  int exitCode = 0;   // when it exited by itself
  int killedBy = 0;   // the signal that ended it; 0 when it exited
  int stoppedBy = 0;  // the signal by which the user stopped it; 0 when nobody did
  int stuckPid = 0;   // of a process that was killed and does not end: it sleeps in the kernel
  double elapsedSeconds = 0;
};

// Whom `runScan` tells what goes on.
class ScanWatcher {
 public:
  virtual ~ScanWatcher() = default;
  // After every `interval` without an event.
  virtual void tick(double elapsedSeconds) = 0;
  // The user wants the scan to end, and it was asked to.
  virtual void stopping() = 0;

  [[nodiscard]] virtual std::chrono::milliseconds interval() const = 0;
};

// How long a scan that is to stop may take to do so by itself, and how long after it was killed it
// counts as stuck.
struct StopLimits {
  std::chrono::milliseconds toStop{5000};
  std::chrono::milliseconds toDie{2000};
};

// Runs the scan program to its end, in a process group of its own and with standard input closed;
// what it writes goes to standard error. `environment` lists variables ("NAME=value") that the
// program gets besides or in place of this process's own.
//
// SIGINT, SIGTERM and SIGHUP that arrive meanwhile are handed on as SIGTERM, upon which the scan
// stops by itself; a second one, or too long a wait, kills it. One that is stuck all the same is
// left behind. Throws CtlError when the program cannot be started.
[[nodiscard]] ScanEnd runScan(const std::vector<std::string>& arguments,
                              const std::vector<std::string>& environment, ScanWatcher& watcher,
                              StopLimits limits = {});

}  // namespace orv::ctl
