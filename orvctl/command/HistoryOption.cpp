#include "orvctl/command/HistoryOption.h"

#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <map>

#include "orvctl/export/WholeFile.h"
#include "orvctl/history/Growth.h"
#include "orvctl/job/Places.h"
#include "orvctl/text/CtlError.h"
#include "orvctl/text/DisplayText.h"
#include "orvctl/text/Output.h"
#include "runtime/unx/Files.h"
#include "runtime/ut/Text.h"

namespace orv::ctl {
namespace {

constexpr const char* HISTORY_PERIOD = "90d";
constexpr int DRAWN_DIRECTORIES = 8;

std::string thisHost() {
  std::array<char, 256> name{};
  return ::gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "localhost";
}

// The history that an empty name means; its directory is made when something is to be added.
std::string defaultHistory(History::Access access) {
  const std::string directory = stateDirectory();
  if (access == History::Access::ADD && !makePath(directory))
    throw CtlError(
        fmt::format("cannot create state directory {}: {}; name another history with "
                    "--db",
                    printable(directory), errnoText(errno)));
  return directory + "/history.db";
}

}  // namespace

void addDatabaseOption(CLI::App& command, std::string& database) {
  command
      .add_option("--db", database,
                  "The history: a SQLite file or postgresql://...; without it history.db in the "
                  "state directory")
      ->type_name("FILE|URL")
      ->envname("ORV_DB");
}

void addHistoryOption(CLI::App& command, HistoryOption& option, const std::string& what) {
  command.add_flag("--history", option.wanted, what);
  addDatabaseOption(command, option.database);
}

void addHistoryOutput(CLI::App& command, HistoryOutput& output) {
  static const std::map<std::string, Format> FORMATS = {
      {"text", Format::TEXT}, {"json", Format::JSON}, {"csv", Format::CSV}};
  // The parser has taken none but these words when it calls back.
  command
      .add_option_function<std::string>(
          "--format", [&output](const std::string& word) { output.format = FORMATS.at(word); },
          "text, json or csv")
      ->type_name("FORMAT")
      ->check(CLI::IsMember(FORMATS));
  command.add_option("--output", output.file, "Write to this file, whole or not at all")
      ->type_name("FILE");
}

void writeHistory(const HistoryOutput& output, const std::function<std::string(const Style&)>& text,
                  const std::function<std::string()>& json,
                  const std::function<std::string()>& csv) {
  const bool toFile = !output.file.empty();
  std::string written;
  if (output.format == Format::TEXT)
    written = text(toFile ? Style{} : styleFor(STDOUT_FILENO));
  else
    written = output.format == Format::JSON ? json() : csv();
  if (toFile)
    writeWholeFile(output.file, written, REPORT_MODE);
  else
    writeOut(written);
}

History openHistory(const std::string& database, History::Access access) {
  return {database.empty() ? defaultHistory(access) : database, access};
}

void addToHistory(const HistoryOption& option, const Scan& scan) {
  if (!option.wanted)
    return;
  try {
    (void)openHistory(option.database, History::Access::ADD).add(scan, thisHost());
  } catch (const CtlError& error) {
    throw CtlError(
        fmt::format("{}; add it later with: orvctl history add {}", error.what(), scan.result),
        error.exitCode());
  }
}

std::vector<GrowthSeries> growthFor(const HistoryOption& option, const Scan& scan) {
  std::vector<GrowthSeries> growth;
  if (!option.wanted)
    return growth;
  History history = openHistory(option.database, History::Access::READ);
  const std::string host = scan.host.empty() ? thisHost() : scan.host;
  for (const Root& root : scan.roots)
    if (!root.isSelection())
      if (auto series =
              growthSeries(history, host, root.path, periodOf(HISTORY_PERIOD), DRAWN_DIRECTORIES))
        growth.push_back(std::move(*series));
  return growth;
}

}  // namespace orv::ctl
