#pragma once

#include <string>

#include "orvctl/model/Model.h"
#include "orvctl/report/Report.h"

namespace orv::ctl {

// One section of a root's report but the first screen, ended by an empty line; empty when the
// result holds nothing of it.
[[nodiscard]] std::string renderSection(Section section, const Root& root,
                                        const ReportOptions& options);

// Every table of one profile's statistics.
[[nodiscard]] std::string renderStatistics(const Statistics& statistics,
                                           const ReportOptions& options);

}  // namespace orv::ctl
