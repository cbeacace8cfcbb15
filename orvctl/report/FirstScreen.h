#pragma once

#include <string>

#include "orvctl/model/Model.h"
#include "orvctl/report/Report.h"

namespace orv::ctl {

// What a root holds, on one screen of 24 lines: the head figures, what they leave out, and as many
// of the largest directories as there is room for. Ends in an empty line.
[[nodiscard]] std::string renderFirstScreen(const Scan& scan, const Root& root,
                                            const ReportOptions& options);

}  // namespace orv::ctl
