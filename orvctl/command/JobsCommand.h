#pragma once

#include <cstdint>
#include <string>

#include "orvctl/job/JobList.h"
#include "orvctl/text/Style.h"

namespace orv::ctl {

// The list as it is printed: the jobs, then the locks. A running job's time counts up to `now`
// (seconds since 1970).
[[nodiscard]] std::string renderJobs(const JobList& list, std::int64_t now, const Style& style);

}  // namespace orv::ctl
