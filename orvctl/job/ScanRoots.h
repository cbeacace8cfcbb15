#pragma once

#include <optional>
#include <string>
#include <vector>

#include "orvctl/job/RootFacts.h"

// Which directories one job scans.
namespace orv::ctl {

struct RootsRequest {
  std::vector<std::string> paths;    // as typed; of `all` those filesystems besides
  bool all = false;                  // every local filesystem of the host
  bool network = false;              // with `all`: those of servers, too
  std::vector<std::string> watch{};  // directories to watch, as typed
  int depth = 2;
  std::optional<int> timeout{};  // seconds, 0 for none; unset: as the mounts want it
};

struct ScanRoots {
  std::vector<RootFacts> roots;    // at least one; none lies inside another
  std::vector<std::string> notes;  // what was left out and why: printable, a line each
  bool complete = true;            // false when a filesystem of `all` could not be examined
  int timeout = 0;                 // for the job; 0 for none
};

// Seconds that a call may take where a mount may hang and nobody said otherwise.
inline constexpr int DEFAULT_TIMEOUT = 10;

// Examines what is to be scanned. Throws CtlError for a path that cannot be scanned and for a
// directory to watch that lies in none of them.
[[nodiscard]] ScanRoots findRoots(const RootsRequest& request);

}  // namespace orv::ctl
