#include "orvctl/command/Commands.h"

#include <fmt/format.h>
#include <cstdlib>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "orvctl/command/HistoryOption.h"
#include "orvctl/command/Options.h"
#include "orvctl/history/Growth.h"
#include "orvctl/history/HistoryExport.h"
#include "orvctl/history/HistoryText.h"
#include "orvctl/text/DisplayText.h"
#include "orvctl/text/Output.h"

namespace orv::ctl {
namespace {

constexpr int DEFAULT_CHANGES = 10;

constexpr const char* FOOTER =
    "Examples:\n"
    "  orvctl growth --since 7d\n"
    "  orvctl growth /home --by owner --top 20\n"
    "  orvctl growth --by host --fail-over 90% --fail-days 14\n"
    "\n"
    "Exit codes:\n"
    "  0  done\n"
    "  1  the history cannot be read, or holds no such scan\n"
    "  2  the command line is wrong\n"
    "  3  a filesystem is past --fail-over or --fail-days";

using By = GrowthQuestion::By;
const std::map<std::string, By> SUBJECTS = {
    {"directory", By::DIRECTORY}, {"owner", By::OWNER}, {"type", By::TYPE}, {"host", By::HOST}};

struct GrowthArguments {
  std::string database;
  std::string host;
  std::string path;
  std::string since = "30d";
  By by = By::DIRECTORY;
  int top = DEFAULT_CHANGES;
  std::string failOver;
  std::optional<double> failDays;
  HistoryOutput output;
};

// A path as scans name it. One that is not there is taken as it stands: it may be another host's.
std::string scannedPath(const std::string& typed) {
  if (typed.empty())
    return {};
  const std::unique_ptr<char, void (*)(void*)> resolved(::realpath(typed.c_str(), nullptr),
                                                        std::free);
  if (typed.front() != '/' && resolved)
    return resolved.get();
  const std::size_t end = typed.find_last_not_of('/');
  return end == std::string::npos ? "/" : typed.substr(0, end + 1);
}

// "90%" or "90" as a share.
std::optional<double> shareOf(const std::string& typed) {
  if (typed.empty())
    return std::nullopt;
  char* end = nullptr;
  const double percent = std::strtod(typed.c_str(), &end);
  const std::string rest = end;
  if (end == typed.c_str() || (!rest.empty() && rest != "%") || !(percent >= 0 && percent <= 100))
    throw CtlError(fmt::format("--fail-over: {} is no share, as 90%", printable(typed)),
                   EXIT_USAGE);
  return percent / 100;
}

// Says on standard error what is past a limit, a line per path.
int checkLimits(const Growth& growth, std::optional<double> share, std::optional<double> days) {
  int exitCode = 0;
  const auto fail = [&](const PathGrowth& path, const std::string& what) {
    writeError(fmt::format("orvctl: {} on {}: {}\n", printable(path.last.path),
                           printable(path.last.host), what));
    exitCode = EXIT_LIMIT;
  };
  for (const PathGrowth& path : growth.paths) {
    if (share && path.usedShare().value_or(0) >= *share)
      fail(path, fmt::format("{:.1f}% of its filesystem is used, the limit is {:g}%",
                             100 * *path.usedShare(), 100 * *share));
    if (days && path.trend.full && path.trend.full->days <= *days)
      fail(path, fmt::format("its filesystem will be full in {} days, the limit is {:g}",
                             fullText(path), *days));
  }
  return exitCode;
}

int runGrowth(const GrowthArguments& arguments) {
  const auto share = shareOf(arguments.failOver);
  const GrowthQuestion question{.host = arguments.host,
                                .path = scannedPath(arguments.path),
                                .period = periodOf(arguments.since),
                                .by = arguments.by};
  History history = openHistory(arguments.database, History::Access::READ);
  const Growth growth = growthOf(history, question);
  writeHistory(
      arguments.output,
      [&](const Style& style) { return renderGrowth(growth, arguments.top, style); },
      [&] { return growthJson(growth); }, [&] { return growthCsv(growth); });
  return checkLimits(growth, share, arguments.failDays);
}

}  // namespace

void addGrowthCommand(CLI::App& app, int& exitCode) {
  auto arguments = std::make_shared<GrowthArguments>();
  CLI::App* command =
      app.add_subcommand("growth", "Show what grew, what shrank and when disks will be full");
  command->add_option("PATH", arguments->path,
                      "A scanned path or a directory below one; without it all scanned paths");
  command->add_option("--since", arguments->since, "Period before the last scan, as 7d or 1y")
      ->type_name("PERIOD")
      ->capture_default_str();
  command
      ->add_option_function<std::string>(
          "--by", [arguments](const std::string& word) { arguments->by = SUBJECTS.at(word); },
          "directory, owner, type or host")
      ->type_name("WHAT")
      ->check(CLI::IsMember(SUBJECTS));
  command->add_option("--host", arguments->host, "Only this host")->type_name("NAME");
  command->add_option("--top", arguments->top, "Entries shown of every list")
      ->type_name("N")
      ->capture_default_str()
      ->check(CLI::Range(1, MAX_TOP));
  command
      ->add_option("--fail-over", arguments->failOver,
                   "Exit code 3 when that share of a filesystem is used, as 90%")
      ->type_name("SHARE");
  command
      ->add_option("--fail-days", arguments->failDays,
                   "Exit code 3 when a filesystem will be full within so many days")
      ->type_name("DAYS")
      ->check(CLI::NonNegativeNumber);
  addHistoryOutput(*command, arguments->output);
  addDatabaseOption(*command, arguments->database);
  command->footer(FOOTER);
  command->callback([arguments, &exitCode] { exitCode = runGrowth(*arguments); });
}

}  // namespace orv::ctl
