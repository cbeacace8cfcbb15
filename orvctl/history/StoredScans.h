#pragma once

#include <span>

#include "orvctl/history/Keep.h"
#include "orvctl/model/Model.h"

// What the history keeps of a scan, and what History does with it inside its transactions.
namespace orv::ctl {

// One scan of one path as the history keeps it. Sizes in bytes, times in milliseconds since 1970.
struct StoredScan {
  std::int64_t id = 0;
  std::string host;
  std::string path;
  std::int64_t started = 0;
  std::optional<double> seconds;
  std::int64_t bytes = 0;
  std::int64_t files = 0;
  std::int64_t directories = 0;
  std::optional<Capacity> capacity;
  std::optional<std::int64_t> unreadable;
  int depth = 0;       // levels below the path of which every directory was measured
  std::string result;  // the file that it was read from
};

// What a stored scan holds beside its totals, largest first.
struct StoredFigures {
  struct Figure {
    std::string name;
    std::int64_t entries = 0;
    std::int64_t bytes = 0;
  };
  StoredScan scan;
  std::vector<Figure> directories;
  std::vector<Figure> owners;
  std::vector<Figure> types;
  std::vector<Figure> files;  // the ranking of the largest; `entries` is 1
};

// Which scans are meant: an empty text means all.
struct ScanFilter {
  std::string host;
  std::string path;
};

namespace history {

class Database;

// As History::list gives them.
[[nodiscard]] std::vector<StoredScan> storedScans(Database& database, const ScanFilter& filter);

// A scan with at most `top` of each of its figures; its id is 0 when it is not there.
[[nodiscard]] StoredFigures storedFigures(Database& database, std::int64_t id, int top);

// Those of a list that no rule keeps.
[[nodiscard]] std::vector<StoredScan> unkept(const std::vector<StoredScan>& scans,
                                             std::span<const KeepRule> rules, std::int64_t now);

// Removes scans with all their rows, and the names and series that no scan needs any more.
void removeScans(Database& database, std::span<const StoredScan> scans);

}  // namespace history
}  // namespace orv::ctl
