#pragma once

#include <sys/types.h>

#include "orvctl/job/JobRun.h"

namespace orv::ctl {

// Whether a process of this id exists, as the locks see it: one that ended and is only to be waited
// for does.
[[nodiscard]] bool processExists(pid_t pid);

// Whether process `pid` is the scan of `run` and has not ended. Ids are given again, in a container
// even from 1 on, so the command line of the process must name the run. A process that the system
// hides from this user counts as the scan.
[[nodiscard]] bool isRunningScan(pid_t pid, const JobRun& run);

}  // namespace orv::ctl
