#include "orvctl/command/ReportOptions.h"

#include "orvctl/command/ExportOption.h"
#include "orvctl/command/Options.h"

namespace orv::ctl {
void addReportOptions(CLI::App& command, ReportArguments& arguments) {
  addTopOption(command, arguments.request.top);
  command
      .add_option("--section", arguments.sections,
                  "Only these sections of the report (or tables of --format csv), as owners,files; "
                  "\"--section help\" lists them")
      ->type_name("NAMES");
  command.add_flag("--summary", arguments.summary,
                   "Only the first screen: totals and the largest directories");
  addExportOption(command, arguments.request);
  addHistoryOption(command, arguments.history);
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

void writeReport(const ExportRequest& request, const Scan& scan, const HistoryOption& history) {
  const std::optional<GrowthSeries> growth =
      request.format == Format::HTML ? growthFor(history, scan) : std::nullopt;
  exportScan(
      request, scan,
      [&](const Style& style) {
        return renderReport(scan, {request.top, request.sections, style});
      },
      growth ? &*growth : nullptr);
}

}  // namespace orv::ctl
