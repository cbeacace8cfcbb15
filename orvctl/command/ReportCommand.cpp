#include "orvctl/command/ReportCommand.h"

#include <unistd.h>

#include <memory>
#include <string>

#include "orvctl/command/Options.h"
#include "orvctl/job/LocalJob.h"
#include "orvctl/report/Report.h"
#include "orvctl/text/Output.h"

namespace orv::ctl {
namespace {

struct ReportArguments {
  std::string file;
  int top = DEFAULT_TOP;
};

void runReport(const ReportArguments& arguments) {
  const ResultFile result = ResultFile::read(arguments.file);
  JobLog log(logOfResult(arguments.file));
  log.poll();
  writeOut(renderReport(result, log, {arguments.top, styleFor(STDOUT_FILENO)}));
}

}  // namespace

void addReportCommand(CLI::App& app, int& exitCode) {
  auto arguments = std::make_shared<ReportArguments>();
  CLI::App* command = app.add_subcommand("report", "Print the report of a result file");
  command->add_option("FILE", arguments->file, "The result file of a scan job")->required();
  addTopOption(*command, arguments->top);
  command->callback([arguments, &exitCode] {
    runReport(*arguments);
    exitCode = 0;
  });
}

}  // namespace orv::ctl
