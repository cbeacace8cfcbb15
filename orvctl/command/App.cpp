#include "orvctl/command/App.h"

#include <CLI/CLI.hpp>
#include <array>
#include <exception>
#include <string>

#include "orvctl/command/CheckWhereCommand.h"
#include "orvctl/command/JobsCommand.h"
#include "orvctl/command/ReportCommand.h"
#include "orvctl/command/ScanCommand.h"
#include "orvctl/text/CtlError.h"
#include "orvctl/text/Output.h"

namespace orv::ctl {
namespace {

// Every command adds itself; the order is that of the help.
constexpr std::array COMMANDS = {addScanCommand, addReportCommand, addJobsCommand,
                                 addCheckWhereCommand};

int parseAndRun(CLI::App& app, int argc, const char* const* argv, const int& exitCode) {
  try {
    app.parse(argc, argv);
    return exitCode;
  } catch (const CLI::Success& help) {
    return app.exit(help);
  } catch (const CLI::ParseError& error) {
    writeError(std::string("orvctl: ") + error.what() + "; see orvctl --help\n");
    return EXIT_USAGE;
  }
}

}  // namespace

int runApp(int argc, const char* const* argv) {
  CLI::App app("Scans directories with the storage scan job and shows what they hold", "orvctl");
  app.require_subcommand(1);
  int exitCode = 0;
  for (const auto& addCommand : COMMANDS)
    addCommand(app, exitCode);
  try {
    return parseAndRun(app, argc, argv, exitCode);
  } catch (const CtlError& error) {
    writeError(std::string("orvctl: ") + error.what() + "\n");
    return error.exitCode();
  } catch (const std::exception& error) {
    writeError(std::string("orvctl: unexpected failure: ") + error.what() + "\n");
    return EXIT_FAILED;
  }
}

}  // namespace orv::ctl
