#pragma once

#include "orvctl/history/StoredScans.h"

// What two scans of a path say when they are compared, and the queries that compare them, which
// Growth.cpp asks inside its transactions.
namespace orv::ctl {

struct GrowthQuestion {
  enum class By { DIRECTORY, OWNER, TYPE, HOST };
  std::string host;         // every host when empty
  std::string path;         // a scanned path or one below it; every scanned path when empty
  std::int64_t period = 0;  // milliseconds before the last scan of each path
  By by = By::DIRECTORY;
};

// One scanned path: its last scan beside the one at the beginning of the period (or the first there
// is). The trend is that of its filesystem's used space in between.
struct PathGrowth {
  StoredScan first;
  StoredScan last;
  int scans = 0;  // from the first to the last; 1 when there is nothing to compare
  Trend trend;
  // It lies in another path of the list, on the same filesystem: sums leave it out.
  bool nested = false;

  [[nodiscard]] std::int64_t change() const noexcept { return last.bytes - first.bytes; }
  // Of the filesystem's capacity, 0 to 1; nothing when that is not known.
  [[nodiscard]] std::optional<double> usedShare() const noexcept;
};

// A directory of one host, or an owner or file type of all of them.
struct Change {
  std::string host;  // of a directory
  std::string name;
  std::optional<std::int64_t> before;  // bytes; nothing when it is new
  std::optional<std::int64_t> after;   // nothing when it is gone

  [[nodiscard]] std::int64_t bytes() const noexcept {
    return after.value_or(0) - before.value_or(0);
  }
};

// One of the largest files that was too small to be one, or not there, at the first scan.
struct NewFile {
  std::string host;
  std::string path;
  std::string owner;
  std::int64_t bytes = 0;
  std::int64_t modified = 0;
};

namespace history {

// What differs between the first and the last scan of a path, in no order. A directory or type that
// one of the scans may only not have measured is left out.
[[nodiscard]] std::vector<Change> changesOf(Database& database, const PathGrowth& path,
                                            GrowthQuestion::By by);

// The new ones among the largest files, largest first.
[[nodiscard]] std::vector<NewFile> newFilesOf(Database& database, const PathGrowth& path);

// How large a directory was in the scans of a path from the first to the last.
[[nodiscard]] GrowthLine lineOf(Database& database, const PathGrowth& path,
                                const std::string& directory);

}  // namespace history
}  // namespace orv::ctl
