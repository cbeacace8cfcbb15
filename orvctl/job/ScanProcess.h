#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace orv::ctl {

// How a scan program ended.
struct ScanEnd {
  int exitCode = 0;   // when it exited by itself
  int killedBy = 0;   // the signal that ended it; 0 when it exited
  int stoppedBy = 0;  // the signal by which the user stopped it; 0 when nobody did
  double elapsedSeconds = 0;
};

// Runs the scan program to its end, in a process group of its own and with standard input closed;
// what it writes goes to standard error. `environment` lists variables ("NAME=value") that the
// program gets besides or in place of this process's own.
//
// SIGINT, SIGTERM and SIGHUP that arrive meanwhile are handed on as SIGTERM, upon which the scan
// stops by itself; a second one kills it. `tick` is called with the elapsed seconds after every
// `interval` without an event. Throws CtlError when the program cannot be started.
[[nodiscard]] ScanEnd runScan(const std::vector<std::string>& arguments,
                              const std::vector<std::string>& environment,
                              std::chrono::milliseconds interval,
                              const std::function<void(double)>& tick);

}  // namespace orv::ctl
