#pragma once

#include "orvctl/report/ReportSections.h"

namespace orv::ctl {

// The readable report of a scan: for several roots their totals first, then root by root its first
// screen and the sections that the options want; then the warnings and where the result lies. Every
// figure is one of the model.
[[nodiscard]] std::string renderReport(const Scan& scan, const ReportOptions& options);

// The warnings of a run alone; empty when there are none.
[[nodiscard]] std::string renderWarnings(const Run& run, const ReportOptions& options);

}  // namespace orv::ctl
