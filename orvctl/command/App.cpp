#include "orvctl/command/App.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <array>
#include <csignal>
#include <exception>
#include <string>
#include <vector>

#include "orvctl/command/Commands.h"
#include "orvctl/command/HelpFormatter.h"
#include "orvctl/command/Settings.h"
#include "orvctl/text/CtlError.h"
#include "orvctl/text/DisplayText.h"
#include "orvctl/text/Output.h"

namespace orv::ctl {
namespace {

// Every command adds itself; the order is that of the help.
constexpr std::array COMMANDS = {addScanCommand,    addReportCommand, addJobsCommand,
                                 addHistoryCommand, addGrowthCommand, addCheckWhereCommand,
                                 addClusterCommand};

constexpr const char* FOOTER =
    "\"orvctl help COMMAND\" tells more of a command. To begin with:\n"
    "  orvctl scan /home";

[[noreturn]] void usageError(const std::string& what, const std::string& help) {
  throw CtlError(what + "; see " + help, EXIT_USAGE);
}

std::vector<std::string> commandNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands({}))
    names.push_back(command->get_name());
  return names;
}

std::string didYouMean(const std::string& word, const std::vector<std::string>& known) {
  const std::string meant = nearest(word, known);
  return meant.empty() ? std::string() : " (did you mean " + meant + "?)";
}

// The innermost command that a command line names: "add" of "orvctl history add".
const CLI::App& givenCommand(const CLI::App& app) {
  const auto given = app.get_subcommands();
  return given.empty() ? app : givenCommand(*given.front());
}

std::string fullName(const CLI::App& command) {
  const CLI::App* parent = command.get_parent();
  return (parent == nullptr ? "" : fullName(*parent) + " ") + command.get_name();
}

// What is wrong with a command line that the parser does not take.
[[noreturn]] void refuse(const CLI::App& app, const CLI::ParseError& error, bool hasArguments) {
  const auto given = app.get_subcommands();
  if (given.empty()) {
    const std::vector<std::string> unknown = app.remaining();
    if (!hasArguments)
      usageError("no command is given", "orvctl --help");
    if (unknown.empty() || app.get_option_no_throw(unknown.front()) != nullptr)
      usageError(printable(error.what()), "orvctl --help");
    const std::string& first = unknown.front();
    const std::string kind = first.front() == '-' ? "option" : "command";
    usageError(fmt::format("there is no {} {}{}", kind, printable(first),
                           kind == "command" ? didYouMean(first, commandNames(app)) : ""),
               "orvctl --help");
  }
  const CLI::App& command = givenCommand(app);
  const bool nested = command.get_parent() != &app;
  const std::string help =
      nested ? fullName(command) + " --help" : "orvctl help " + command.get_name();
  const std::vector<std::string> unknown = command.remaining();
  if (unknown.empty())
    usageError(printable(error.what()), help);
  std::vector<std::string> options;
  for (const CLI::Option* option : command.get_options())
    options.push_back(option->get_name());
  const std::string word = unknown.front().substr(0, unknown.front().find('='));
  if (!word.starts_with('-') && !commandNames(command).empty())
    usageError(fmt::format("{} has no command {}{}", command.get_name(), printable(word),
                           didYouMean(word, commandNames(command))),
               help);
  if (!word.starts_with('-'))
    usageError(fmt::format("{} takes no further argument: {}", command.get_name(), printable(word)),
               help);
  usageError(fmt::format("{} has no option {}{}", command.get_name(), printable(word),
                         didYouMean(word, options)),
             help);
}

// "help [COMMAND]"
void addHelpCommand(CLI::App& app) {
  auto name = std::make_shared<std::string>();
  CLI::App* command = app.add_subcommand("help", "Tell how a command is used");
  command->add_option("COMMAND", *name, "The command; without it all of them are listed");
  command->callback([name, &app] {
    if (name->empty()) {
      writeOut(app.help());
      return;
    }
    const auto asked = app.get_subcommands(
        [&name](const CLI::App* candidate) { return candidate->get_name() == *name; });
    if (asked.empty())
      usageError(fmt::format("there is no command {}{}", printable(*name),
                             didYouMean(*name, commandNames(app))),
                 "orvctl --help");
    writeOut(asked.front()->help("orvctl"));
  });
}

int parseAndRun(CLI::App& app, int argc, const char* const* argv, const int& exitCode) {
  try {
    app.parse(argc, argv);
    return exitCode;
  } catch (const CLI::CallForHelp&) {
    const CLI::App& command = givenCommand(app);
    const CLI::App* parent = command.get_parent();
    writeOut(command.help(parent == nullptr ? "" : fullName(*parent)));
    return 0;
  } catch (const CLI::CallForVersion& version) {
    writeOut(std::string(version.what()) + "\n");
    return 0;
  } catch (const CLI::ParseError& error) {
    refuse(app, error, argc > 1);
  }
}

}  // namespace

std::unique_ptr<CLI::App> makeApp(int& exitCode) {
  auto app = std::make_unique<CLI::App>(
      "Scans directories with the storage scan job and shows what they hold", "orvctl");
  app->formatter(std::make_shared<HelpFormatter>());
  app->set_help_flag("-h,--help", "Print this help")->configurable(false);
  app->set_version_flag("--version", "orvctl " ORV_VERSION, "Print the version")
      ->configurable(false);
  app->require_subcommand(1);
  addSettings(*app);
  for (const auto& addCommand : COMMANDS)
    addCommand(*app, exitCode);
  addHelpCommand(*app);
  app->footer(FOOTER);  // only now: commands that are added take over the footer
  return app;
}

int runApp(int argc, const char* const* argv) {
  // A file that may not grow is to fail like a full disk, with a line that says so.
  (void)std::signal(SIGXFSZ, SIG_IGN);
  int exitCode = 0;
  const std::unique_ptr<CLI::App> app = makeApp(exitCode);
  try {
    return parseAndRun(*app, argc, argv, exitCode);
  } catch (const CtlError& error) {
    writeError(std::string("orvctl: ") + error.what() + "\n");
    return error.exitCode();
  } catch (const std::exception& error) {
    writeError(std::string("orvctl: unexpected failure: ") + error.what() + "\n");
    return EXIT_FAILED;
  }
}

}  // namespace orv::ctl
