#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "orvctl/model/Model.h"

// Metrics in the Prometheus text format, for a file that node_exporter's textfile collector reads.
// Every metric carries the label `root`, so that the files of several scans can lie side by side.
namespace orv::ctl {

struct MetricsOptions {
  // How many owners, groups and directories get a time series of their own: whoever stores metrics
  // pays for each.
  int top = 20;
};

[[nodiscard]] std::string renderMetrics(const Scan& scan, const MetricsOptions& options);

// How a run ended that left no result.
struct FailedRun {
  std::vector<std::string> roots;  // UTF-8, as in Root::path
  std::int64_t started = 0;        // milliseconds since 1970
  double seconds = 0;
  int returnCode = 0;
};

// What becomes of the metrics of the run before: all figures and the time of the last success stay,
// the last run is the failed one. `before` is empty when there is no such file.
[[nodiscard]] std::string withFailedRun(std::string_view before, const FailedRun& run);

}  // namespace orv::ctl
