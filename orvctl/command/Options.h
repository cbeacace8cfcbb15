#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "orvctl/command/HistoryOption.h"
#include "orvctl/export/Export.h"
#include "orvctl/report/ReportSections.h"

// Options that several commands share.
namespace orv::ctl {

inline constexpr int DEFAULT_TOP = 20;
// A profile counts its rankings in 16 bits.
inline constexpr int MAX_TOP = 32767;

inline void addTopOption(CLI::App& command, int& top) {
  command
      .add_option("--top", top,
                  "Entries shown of every list; " + std::to_string(top) + " if not given")
      ->type_name("N")
      ->check(CLI::Range(1, MAX_TOP));
}

inline void addAgentOption(CLI::App& command, std::string& directory) {
  command
      .add_option("--agent", directory,
                  "Agent directory with the jobs' files, which a scan makes if needed; without it "
                  "the one that orvctl was built into, or the state directory if it is installed")
      ->type_name("DIR")
      ->envname("ORV_AGENT");
}

// What commands that report a scan have in common.
struct ReportArguments {
  ExportRequest request;
  std::string sections;  // as typed
  bool summary = false;
  HistoryOption history;
};

// What --history does for a command that scans.
inline constexpr const char* SCAN_HISTORY =
    "Add the figures to the history of scans; the page (--format html) then shows how PATH grew";

// Adds "--top", "--section", "--summary" and the options of exports and history; they go into
// `arguments`, which must outlive the parse. `history` says what the command does with a history.
void addReportOptions(CLI::App& command, ReportArguments& arguments, const std::string& history);

// The list of sections is asked for instead of a report.
[[nodiscard]] bool askedForSectionHelp(const ReportArguments& arguments);

// What is to be written, checked. Throws CtlError.
[[nodiscard]] ExportRequest requestOf(const ReportArguments& arguments);

// Writes the scan as requested; the history, if wanted, lends the page its growth. Throws CtlError.
void writeReport(const ExportRequest& request, const Scan& scan, const HistoryOption& history);

}  // namespace orv::ctl
