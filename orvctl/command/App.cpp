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

std::vector<std::string> optionNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::Option* option : app.get_options())
    names.push_back(option->get_name());
  return names;
}

std::string didYouMean(const std::string& word, const std::vector<std::string>& known) {
  const std::string meant = nearest(word, known);
  return meant.empty() ? std::string() : " (did you mean " + meant + "?)";
}

// The command that was given, with the one of its own behind it: "history add".
const CLI::App& givenCommand(const CLI::App& app) {
  const CLI::App* command = &app;
  while (!command->get_subcommands().empty())
    command = command->get_subcommands().front();
  return *command;
}

std::string fullName(const CLI::App& command) {
  const CLI::App* parent = command.get_parent();
  return parent == nullptr || parent->get_parent() == nullptr
             ? command.get_name()
             : fullName(*parent) + " " + command.get_name();
}

std::string helpOf(const CLI::App& app, const CLI::App& command) {
  if (&command == &app)
    return app.help();
  const std::string name = fullName(command);
  const std::size_t last = name.rfind(' ');
  return command.help(last == std::string::npos ? "orvctl" : "orvctl " + name.substr(0, last));
}

// What the parser says of a fault, in words that do not tell of its types.
std::string faultText(const CLI::ParseError& error) {
  const std::string text = error.what();
  if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr) {
    const std::string name = text.substr(0, text.find(':'));
    if (name.starts_with("--"))
      return name + " needs a value";
    if (text.find("At Most 1") != std::string::npos)
      return "only one " + name + " can be given";
  }
  return printable(text);
}

// What is wrong with a command line that the parser does not take.
[[noreturn]] void refuse(const CLI::App& app, const CLI::ParseError& error, bool hasArguments) {
  const CLI::App& command = givenCommand(app);
  const bool isProgram = &command == &app;
  const std::string help = isProgram ? "orvctl --help" : "orvctl help " + fullName(command);
  if (!hasArguments)
    usageError("no command is given", help);
  const std::vector<std::string> unknown = command.remaining();
  if (unknown.empty() || command.get_option_no_throw(unknown.front()) != nullptr)
    usageError(faultText(error), help);
  const std::string word = unknown.front().substr(0, unknown.front().find('='));
  const std::string owner = isProgram ? "orvctl" : fullName(command);
  if (word.starts_with('-'))
    usageError(fmt::format("{} has no option {}{}", owner, printable(word),
                           didYouMean(word, optionNames(command))),
               help);
  const std::vector<std::string> commands = commandNames(command);
  if (commands.empty())
    usageError(fmt::format("{} takes no further argument: {}", owner, printable(word)), help);
  usageError(fmt::format("there is no command {}{}{}", isProgram ? "" : owner + " ",
                         printable(word), didYouMean(word, commands)),
             help);
}

// "help [COMMAND]...": several words for a command that has commands of its own.
void addHelpCommand(CLI::App& app) {
  auto names = std::make_shared<std::vector<std::string>>();
  CLI::App* command = app.add_subcommand("help", "Tell how a command is used");
  command->add_option("COMMAND", *names, "The command; without it all of them are listed");
  command->callback([names, &app] {
    const CLI::App* asked = &app;
    for (const std::string& name : *names) {
      const auto found = asked->get_subcommands(
          [&name](const CLI::App* candidate) { return candidate->get_name() == name; });
      if (found.empty())
        usageError(fmt::format("there is no command {}{}", printable(name),
                               didYouMean(name, commandNames(*asked))),
                   "orvctl --help");
      asked = found.front();
    }
    writeOut(helpOf(app, *asked));
  });
}

int parseAndRun(CLI::App& app, int argc, const char* const* argv, const int& exitCode) {
  try {
    app.parse(argc, argv);
    return exitCode;
  } catch (const CLI::CallForHelp&) {
    writeOut(helpOf(app, givenCommand(app)));
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
