#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>

// The commands, each in a file of its name. Every one adds itself to the program; when it is given,
// it runs and sets `exitCode`, which must outlive the parse. What ends it early is a CtlError.
namespace orv::ctl {

struct JobList;
struct Style;

// "scan PATH" runs one scan job over PATH and prints its report. The scan's own code (0 complete,
// 4 some parts could not be scanned; the report is printed for both), or 128 plus the signal that
// stopped it.
void addScanCommand(CLI::App& app, int& exitCode);

// "report FILE" prints the report of a result file.
void addReportCommand(CLI::App& app, int& exitCode);

// "jobs" lists the jobs of an agent directory: 0, or 4 when parts of it could not be read.
void addJobsCommand(CLI::App& app, int& exitCode);

// The list as it is printed: the jobs, then the locks. A running job's time counts up to `now`
// (seconds since 1970).
[[nodiscard]] std::string renderJobs(const JobList& list, std::int64_t now, const Style& style);

// "history add|list|show|prune": 0, or 1 when a result could not be added (the others are added all
// the same).
void addHistoryCommand(CLI::App& app, int& exitCode);

// The exit code of "growth" when a filesystem is past a limit that was given.
inline constexpr int EXIT_LIMIT = 3;

// "growth [PATH]" shows what the history says about growth: 0, or EXIT_LIMIT with one line on
// standard error per filesystem that is past --fail-over or --fail-days.
void addGrowthCommand(CLI::App& app, int& exitCode);

// "check-where CLAUSE" explains a where clause in plain English: 0. The error of one that is not
// valid points at the place.
void addCheckWhereCommand(CLI::App& app, int& exitCode);

// "cluster scan|resume|cancel" does a scan with many processes or nodes: as "scan".
void addClusterCommand(CLI::App& app, int& exitCode);

}  // namespace orv::ctl
