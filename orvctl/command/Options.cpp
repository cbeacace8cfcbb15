#include "orvctl/command/Options.h"

#include <map>
#include <vector>

#include "orvctl/report/Report.h"

namespace orv::ctl {
namespace {

// Adds "--format", "--output" and "--null" to a command; they go into `request`, which must outlive
// the parse. "--section" and "--top" are the command's own.
void addExportOption(CLI::App& command, ExportRequest& request) {
  static const std::map<std::string, Format> FORMATS = {{"text", Format::TEXT},
                                                        {"json", Format::JSON},
                                                        {"csv", Format::CSV},
                                                        {"html", Format::HTML},
                                                        {"prometheus", Format::PROMETHEUS}};
  // The parser has taken none but these words when it calls back.
  command
      .add_option_function<std::string>(
          "--format", [&request](const std::string& word) { request.format = FORMATS.at(word); },
          "text, json, csv, html or prometheus; text if not given")
      ->type_name("FORMAT")
      ->check(CLI::IsMember(FORMATS));
  command
      .add_option("--output", request.output,
                  "Write there instead of to standard output; for the tables of csv a directory")
      ->type_name("FILE|DIR");
  command.add_flag("--null", request.pathsOnly,
                   "With --section files, or another that lists paths: the paths alone, each ended "
                   "by a NUL byte, as for xargs -0");
}

}  // namespace

void addReportOptions(CLI::App& command, ReportArguments& arguments, const std::string& history) {
  addTopOption(command, arguments.request.top);
  command
      .add_option("--section", arguments.sections,
                  "Only these sections of the report (or tables of --format csv), as owners,files; "
                  "\"--section help\" lists them")
      ->type_name("NAMES");
  command.add_flag("--summary", arguments.summary,
                   "Only the first screen: totals and the largest directories");
  addExportOption(command, arguments.request);
  addHistoryOption(command, arguments.history, history);
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
  const std::vector<GrowthSeries> growth =
      request.format == Format::HTML ? growthFor(history, scan) : std::vector<GrowthSeries>{};
  exportScan(
      request, scan,
      [&](const Style& style) {
        return renderReport(scan, {request.top, request.sections, style});
      },
      growth);
}

}  // namespace orv::ctl
