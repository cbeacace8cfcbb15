#pragma once

#include <string>
#include <string_view>

#include "orvctl/export/Metrics.h"

// What becomes of a metrics file that is there when a scan ends. Several scans may share one: each
// replaces what the file says of its own roots and leaves the others'. `before` is the file's text,
// empty when there is none; lines that renderMetrics would not write are dropped.
namespace orv::ctl {

// The figures of the scan's roots are those of the scan.
[[nodiscard]] std::string withScan(std::string_view before, const Scan& scan,
                                   const MetricsOptions& options);

// The figures of the run's roots and the time of their last success stay; their last run is this.
[[nodiscard]] std::string withFailedRun(std::string_view before, const FailedRun& run);

}  // namespace orv::ctl
