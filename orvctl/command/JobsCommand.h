#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <string>

#include "orvctl/job/JobList.h"
#include "orvctl/text/Style.h"

namespace orv::ctl {

// Adds "jobs" to the program; when given, it lists the jobs of an agent directory and sets
// `exitCode`, which must outlive the parse: 0, or 4 when parts of the directory could not be read.
void addJobsCommand(CLI::App& app, int& exitCode);

// The list as it is printed: the jobs, then the locks. A running job's time counts up to `now`
// (seconds since 1970).
[[nodiscard]] std::string renderJobs(const JobList& list, std::int64_t now, const Style& style);

}  // namespace orv::ctl
