#include "orvctl/command/ReportOptions.h"

#include <fmt/format.h>

#include "orvctl/command/ExportOption.h"

namespace orv::ctl {
namespace {

// A profile counts its rankings in 16 bits.
constexpr int MAX_TOP = 32767;

}  // namespace

void addReportOptions(CLI::App& command, ReportArguments& arguments) {
  command
      .add_option(
          "--top", arguments.request.top,
          fmt::format("Entries shown of every list; {} if not given", arguments.request.top))
      ->type_name("N")
      ->check(CLI::Range(1, MAX_TOP));
  command
      .add_option("--section", arguments.sections,
                  "Only these sections of the report (or tables of --format csv), as owners,files; "
                  "\"--section help\" lists them")
      ->type_name("NAMES");
  command.add_flag("--summary", arguments.summary,
                   "Only the first screen: totals and the largest directories");
  addExportOption(command, arguments.request);
}

bool askedForSectionHelp(const ReportArguments& arguments) {
  return arguments.sections == "help";
}

ExportRequest requestOf(const ReportArguments& arguments) {
  ExportRequest request = arguments.request;
  request.sections = parseSections(arguments.sections);
  if (arguments.summary)
    request.sections.insert(Section::SUMMARY);
  checkRequest(request);
  return request;
}

void writeReport(const ExportRequest& request, const Scan& scan) {
  exportScan(
      request, scan,
      [&](const Style& style) {
        return renderReport(scan, {request.top, request.sections, style});
      },
      nullptr);
}

}  // namespace orv::ctl
