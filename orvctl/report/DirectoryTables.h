#pragma once

#include "orvctl/report/ReportSections.h"

// The measured directories of a root: each with all that is below it.
namespace orv::ctl {

// The largest directories that fit into that many lines, with bars; empty when none was measured.
[[nodiscard]] std::string renderLargestDirectories(const Root& root, const ReportOptions& options,
                                                   int lines);

// All measured directories, as far as the options' limit goes.
[[nodiscard]] std::string renderDirectories(const Root& root, const ReportOptions& options);

// Those that were to be watched, and what no directory was met for.
[[nodiscard]] std::string renderWatchedList(const Root& root, const ReportOptions& options);

// Every statistic of each watched directory.
[[nodiscard]] std::string renderWatched(const Root& root, const ReportOptions& options);

// How many lines of a terminal a text takes: one that is wider goes on in the next.
[[nodiscard]] int linesOf(std::string_view text, const Style& style);

}  // namespace orv::ctl
