#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "orvctl/history/History.h"
#include "orvctl/model/Model.h"

// What grew and what shrank between two scans of a history, and when filesystems will be full.
namespace orv::ctl {

// The straight line of least squares through points in the order of time, of which there must be
// four. It is a trend when it explains at least half of how the points differ and its slope is not
// 0 with a probability of 95 %. `capacity` (bytes, 0 when not known) is what the last point's
// bytes fill.
[[nodiscard]] Trend trendOf(const std::vector<GrowthPoint>& points, std::int64_t capacity);

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

struct Growth {
  GrowthQuestion question;
  std::vector<PathGrowth> paths;  // by host and path
  std::vector<Change> changes;    // what grew most first, what shrank most last; none by host
  std::vector<NewFile> newFiles;  // largest first
};

// Throws CtlError when the history cannot be read or knows no such path.
[[nodiscard]] Growth growthOf(History& history, const GrowthQuestion& question);

// The lines of one scanned path for a drawing, with the `directories` that changed most; nothing
// when the history has fewer than two scans of it in the period. Throws CtlError.
[[nodiscard]] std::optional<GrowthSeries> growthSeries(History& history, const std::string& host,
                                                       const std::string& path, std::int64_t period,
                                                       int directories);

}  // namespace orv::ctl
