#include "orvctl/command/Commands.h"

#include <memory>
#include <string>

#include "orvctl/command/Options.h"
#include "orvctl/job/AgentDirectory.h"
#include "orvctl/job/RunChoice.h"
#include "orvctl/report/AddRun.h"
#include "orvctl/text/Output.h"

namespace orv::ctl {
namespace {

constexpr const char* FOOTER =
    "Examples:\n"
    "  orvctl report latest                      the newest result\n"
    "  orvctl report latest /home --summary      the newest of /home, first screen\n"
    "  orvctl report 12 --section old,files      of run 12, by \"orvctl jobs\"\n"
    "  orvctl report ./12                        a file of that name\n"
    "\n"
    "Exit codes:\n"
    "  0  the report is complete\n"
    "  1  there is no such result, or it cannot be read or written\n"
    "  2  the command line is wrong";

struct Arguments {
  std::string which;
  std::string path;
  std::string agent;
  ReportArguments report;
};

void runReport(const Arguments& arguments) {
  const ExportRequest request = requestOf(arguments.report);
  const std::string result = chosenResult(
      arguments.which, arguments.path, chosenAgentDirectory(arguments.agent, findInstallation()));
  writeReport(request, readScan(result), arguments.report.history);
}

}  // namespace

void addReportCommand(CLI::App& app, int& exitCode) {
  auto arguments = std::make_shared<Arguments>();
  CLI::App* command = app.add_subcommand("report", "Print the report of a scan again");
  CLI::Option* which = command->add_option(
      "RESULT", arguments->which,
      "The result file of a scan job, the number of a run, or \"latest\" for the newest run");
  command->add_option("PATH", arguments->path, "With \"latest\": the newest run that scanned PATH");
  addReportOptions(*command, arguments->report,
                   "With --format html: the page shows how the path grew, by the history of scans");
  addAgentOption(*command, arguments->agent);
  command->footer(FOOTER);
  command->callback([arguments, which, &exitCode] {
    exitCode = 0;
    if (askedForSectionHelp(arguments->report)) {
      writeOut(sectionHelp());
      return;
    }
    if (which->count() == 0)
      throw CLI::RequiredError("RESULT");
    runReport(*arguments);
  });
}

}  // namespace orv::ctl
