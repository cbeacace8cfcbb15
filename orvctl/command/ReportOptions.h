#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "orvctl/command/HistoryOption.h"
#include "orvctl/export/Export.h"
#include "orvctl/report/Report.h"

// What commands that report a scan have in common.
namespace orv::ctl {

struct ReportArguments {
  ExportRequest request;
  std::string sections;  // as typed
  bool summary = false;
  HistoryOption history;
};

// Adds "--top", "--section", "--summary" and the options of exports and history; they go into
// `arguments`, which must outlive the parse.
void addReportOptions(CLI::App& command, ReportArguments& arguments);

// The list of sections is asked for instead of a report.
[[nodiscard]] bool askedForSectionHelp(const ReportArguments& arguments);

// What is to be written, checked. Throws CtlError.
[[nodiscard]] ExportRequest requestOf(const ReportArguments& arguments);

// Writes the scan as requested; the history, if wanted, lends the page its growth. Throws CtlError.
void writeReport(const ExportRequest& request, const Scan& scan, const HistoryOption& history);

}  // namespace orv::ctl
