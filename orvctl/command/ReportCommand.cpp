#include "orvctl/command/ReportCommand.h"

#include <memory>
#include <string>

#include "orvctl/command/ExportOption.h"
#include "orvctl/command/Options.h"
#include "orvctl/export/Export.h"
#include "orvctl/job/LocalJob.h"
#include "orvctl/model/ModelBuilder.h"
#include "orvctl/report/Report.h"

namespace orv::ctl {
namespace {

struct ReportArguments {
  std::string file;
  std::string sections;
  ExportRequest request;
};

void runReport(const ReportArguments& arguments) {
  ExportRequest request = arguments.request;
  request.sections = parseSections(arguments.sections);
  checkRequest(request);
  const ResultFile result = ResultFile::read(arguments.file);
  JobLog log(logOfResult(arguments.file));
  log.poll();
  exportScan(
      request, buildModel(result),
      [&](const Style& style) {
        return renderReport(result, log, {request.top, style});
      },
      nullptr);
}

}  // namespace

void addReportCommand(CLI::App& app, int& exitCode) {
  auto arguments = std::make_shared<ReportArguments>();
  CLI::App* command = app.add_subcommand("report", "Print the report of a result file");
  command->add_option("FILE", arguments->file, "The result file of a scan job")->required();
  addTopOption(*command, arguments->request.top);
  command
      ->add_option("--section", arguments->sections,
                   "Only these tables of --format csv, as \"files,owners\"")
      ->type_name("NAMES");
  addExportOption(*command, arguments->request);
  command->callback([arguments, &exitCode] {
    runReport(*arguments);
    exitCode = 0;
  });
}

}  // namespace orv::ctl
