#include "orvctl/command/Commands.h"

#include <fmt/format.h>
#include <unistd.h>

#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "orvctl/command/HistoryOption.h"
#include "orvctl/command/Options.h"
#include "orvctl/history/HistoryExport.h"
#include "orvctl/history/HistoryText.h"
#include "orvctl/report/AddRun.h"
#include "orvctl/text/CtlError.h"
#include "orvctl/text/Output.h"

namespace orv::ctl {
namespace {

constexpr const char* FOOTER =
    "Examples:\n"
    "  orvctl history add output/local/*.dat\n"
    "  orvctl history add --host db1 --db postgresql://loader@db/orvscan result.dat\n"
    "  orvctl history list /home\n"
    "  orvctl history prune --keep daily:60 --keep monthly:36\n"
    "\n"
    "Exit codes:\n"
    "  0  done\n"
    "  1  the history, or a result to add, cannot be read or written\n"
    "  2  the command line is wrong";

// What any of the commands may be given. Each has its own: the environment fills those of all.
struct HistoryArguments {
  std::string database;
  std::vector<std::string> results;
  std::string addedHost;
  ScanFilter filter;
  std::int64_t id = 0;
  int top = DEFAULT_TOP;
  std::vector<std::string> keep;
  bool dryRun = false;
  HistoryOutput output;
};

// Adds the results one by one: one that cannot be read does not keep the others out.
int runAdd(const HistoryArguments& arguments) {
  History history = openHistory(arguments.database, History::Access::ADD);
  History::Added sum;
  int failed = 0;
  for (const std::string& file : arguments.results) {
    try {
      const auto added = history.add(readScan(file), arguments.addedHost);
      sum.scans += added.scans;
      sum.present += added.present;
      sum.empty += added.empty;
    } catch (const CtlError& error) {
      writeError(std::string("orvctl: ") + error.what() + "\n");
      ++failed;
    }
  }
  writeOut(fmt::format("{} added, {} there already, {} without totals, {} failed\n", sum.scans,
                       sum.present, sum.empty, failed));
  return failed == 0 ? 0 : EXIT_FAILED;
}

void runPrune(const HistoryArguments& arguments) {
  std::vector<KeepRule> rules;
  for (const std::string& typed : arguments.keep)
    rules.push_back(keepRuleOf(typed));
  History history = openHistory(arguments.database, History::Access::READ);
  const auto mode = arguments.dryRun ? History::Prune::TELL : History::Prune::REMOVE;
  const auto gone = history.prune(arguments.filter, rules, std::time(nullptr) * 1000, mode);
  if (arguments.dryRun)
    writeOut(renderScans(gone, styleFor(STDOUT_FILENO)));
  else
    writeOut(fmt::format("{} removed\n", gone.size()));
}

// A command below "history" with the options that all of them have.
CLI::App* addCommand(CLI::App& history, const char* name, const char* text,
                     HistoryArguments& arguments) {
  CLI::App* command = history.add_subcommand(name, text);
  addDatabaseOption(*command, arguments.database);
  return command;
}

void addFilter(CLI::App& command, ScanFilter& filter) {
  command.add_option("PATH", filter.path, "Only scans of this path");
  command.add_option("--host", filter.host, "Only scans of this host")->type_name("NAME");
}

}  // namespace

void addHistoryCommand(CLI::App& app, int& exitCode) {
  auto arguments = std::make_shared<HistoryArguments>();
  CLI::App* history = app.add_subcommand("history", "Keep the figures of many scans and hosts");
  history->require_subcommand(1);
  history->footer(FOOTER);  // also of the commands below, which take it over

  CLI::App* add = addCommand(*history, "add", "Add results; one that is there stays", *arguments);
  add->add_option("RESULT", arguments->results, "Result files of scan jobs")->required();
  add->add_option("--host", arguments->addedHost, "The host of results that do not tell theirs")
      ->type_name("NAME");
  add->callback([arguments, &exitCode] { exitCode = runAdd(*arguments); });

  arguments = std::make_shared<HistoryArguments>();
  CLI::App* list = addCommand(*history, "list", "List the scans", *arguments);
  addFilter(*list, arguments->filter);
  addHistoryOutput(*list, arguments->output);
  list->callback([arguments, &exitCode] {
    History opened = openHistory(arguments->database, History::Access::READ);
    const auto scans = opened.list(arguments->filter);
    writeHistory(
        arguments->output, [&](const Style& style) { return renderScans(scans, style); },
        [&] { return scansJson(scans); }, [&] { return scansCsv(scans); });
    exitCode = 0;
  });

  arguments = std::make_shared<HistoryArguments>();
  CLI::App* show = addCommand(*history, "show", "Show one scan", *arguments);
  show->add_option("ID", arguments->id, "Its id in the list")->required();
  addTopOption(*show, arguments->top);
  addHistoryOutput(*show, arguments->output);
  show->callback([arguments, &exitCode] {
    History opened = openHistory(arguments->database, History::Access::READ);
    const StoredFigures figures = opened.show(arguments->id, arguments->top);
    writeHistory(
        arguments->output, [&](const Style& style) { return renderFigures(figures, style); },
        [&] { return figuresJson(figures); }, [&] { return figuresCsv(figures); });
    exitCode = 0;
  });

  arguments = std::make_shared<HistoryArguments>();
  CLI::App* prune = addCommand(*history, "prune", "Remove scans that no rule keeps", *arguments);
  prune
      ->add_option("--keep", arguments->keep,
                   "Of each path: the newest 30; 90d; daily:14, weekly:8, monthly:24; repeatable")
      ->type_name("RULE")
      ->required()
      ->expected(1)
      ->take_all();
  prune->add_flag("--dry-run", arguments->dryRun, "Only list what would be removed");
  addFilter(*prune, arguments->filter);
  prune->callback([arguments, &exitCode] {
    runPrune(*arguments);
    exitCode = 0;
  });
}

}  // namespace orv::ctl
