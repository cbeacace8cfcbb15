#pragma once

#include <CLI/CLI.hpp>
#include <algorithm>
#include <optional>
#include <string>
#include <thread>

#include "orvctl/command/Options.h"
#include "orvctl/job/ClusterWork.h"
#include "orvctl/job/ScanRoots.h"

namespace orv::ctl {

// What a scan is asked for, on one machine or divided among several.
struct ScanArguments {
  RootsRequest roots;
  std::string agent;
  std::string where;
  std::string ages = "90d,1y,2y";
  ReportArguments report;
  bool strict = false;
  unsigned threads = std::max(1U, std::thread::hardware_concurrency());
  std::optional<ClusterSettings> cluster;  // nothing: one process scans
  std::string work;                        // the cluster's work directory; empty for a new one
};

// The options that say what is scanned and how it is reported, whoever scans it.
void addScanOptions(CLI::App& command, ScanArguments& arguments);

// Runs the job and prints its report; the exit code. Throws CtlError.
[[nodiscard]] int runScanCommand(const ScanArguments& arguments);
// Goes on with a divided scan that was stopped, with the report options of `arguments` only.
[[nodiscard]] int resumeScan(const ScanArguments& arguments, const std::string& workDirectory);

}  // namespace orv::ctl
