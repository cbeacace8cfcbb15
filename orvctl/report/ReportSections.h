#pragma once

#include <string>

#include "orvctl/model/ResultFile.h"
#include "orvctl/report/Report.h"

namespace orv::ctl {

// The statistics of one CuStatResults entity but its summary, as titled tables: distributions,
// rankings, owners, groups, file types. A ranking that the profile asked for and that is empty is
// said to be; one that it did not ask for is left out.
[[nodiscard]] std::string renderSections(const ResultFile& result, const Record& profile,
                                         const Entity& results, const ReportOptions& options);

}  // namespace orv::ctl
