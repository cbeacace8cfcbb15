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

// The metrics of a run without figures.
[[nodiscard]] std::string renderFailedRun(const FailedRun& run);

// Whether it is one of the metrics that a failed run has.
[[nodiscard]] bool isRunMetric(std::string_view name);

// A value as it stands between the quotes of a label.
[[nodiscard]] std::string escapedLabel(std::string_view value);

}  // namespace orv::ctl
