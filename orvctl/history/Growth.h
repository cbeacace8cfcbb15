#pragma once

#include "orvctl/history/Changes.h"
#include "orvctl/history/History.h"

// What grew and what shrank between two scans of a history, and when filesystems will be full.
namespace orv::ctl {

// The straight line of least squares through points in the order of time, of which there must be
// four. It is a trend when it explains at least half of how the points differ and its slope is not
// 0 with a probability of 95 %. `capacity` (bytes, 0 when not known) is what the last point's
// bytes fill.
[[nodiscard]] Trend trendOf(const std::vector<GrowthPoint>& points, std::int64_t capacity);

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
