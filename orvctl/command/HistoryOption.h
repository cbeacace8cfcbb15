#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

#include "orvctl/export/Export.h"
#include "orvctl/history/History.h"
#include "orvctl/model/Model.h"

// The options by which commands reach the history.
namespace orv::ctl {

struct HistoryOption {
  bool wanted = false;   // --history
  std::string database;  // --db or ORV_DB; empty means the file in the state directory
};

// Adds --db to a command that needs the history anyway.
void addDatabaseOption(CLI::App& command, std::string& database);

// Adds --history, whose effect is `what`, and --db to a command that can do without.
void addHistoryOption(CLI::App& command, HistoryOption& option, const std::string& what);

// In which form a command writes what it has to say, and where to.
struct HistoryOutput {
  Format format = Format::TEXT;
  std::string file;  // standard output when empty
};

// Adds --format (text, json or csv) and --output.
void addHistoryOutput(CLI::App& command, HistoryOutput& output);

// Writes `text` (which depends on the style of where it goes), `json` or `csv`. Throws CtlError.
void writeHistory(const HistoryOutput& output, const std::function<std::string(const Style&)>& text,
                  const std::function<std::string()>& json,
                  const std::function<std::string()>& csv);

// Opens the history of that name. Throws CtlError.
[[nodiscard]] History openHistory(const std::string& database, History::Access access);

// Adds a scan of this host to the history if that is wanted. Throws CtlError, which says how to add
// the result later; the result itself stays.
void addToHistory(const HistoryOption& option, const Scan& scan);

// How the paths of a scan grew in the last 90 days, for the page: those of which the history, if it
// is wanted, knows at least two scans. Throws CtlError.
[[nodiscard]] std::vector<GrowthSeries> growthFor(const HistoryOption& option, const Scan& scan);

}  // namespace orv::ctl
