#include "orvctl/command/ReportCommand.h"

#include <memory>
#include <string>

#include "orvctl/command/ReportOptions.h"
#include "orvctl/report/AddRun.h"
#include "orvctl/text/Output.h"

namespace orv::ctl {
namespace {

struct Arguments {
  std::string file;
  ReportArguments report;
};

void runReport(const Arguments& arguments) {
  const ExportRequest request = requestOf(arguments.report);
  writeReport(request, readScan(arguments.file));
}

}  // namespace

void addReportCommand(CLI::App& app, int& exitCode) {
  auto arguments = std::make_shared<Arguments>();
  CLI::App* command = app.add_subcommand("report", "Print the report of a result file");
  command->add_option("FILE", arguments->file, "The result file of a scan job")->required();
  addReportOptions(*command, arguments->report);
  command->callback([arguments, &exitCode] {
    if (askedForSectionHelp(arguments->report))
      writeOut(sectionHelp());
    else
      runReport(*arguments);
    exitCode = 0;
  });
}

}  // namespace orv::ctl
