#include "orvctl/history/Growth.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/math/distributions/students_t.hpp>
#include <cmath>
#include <cstdlib>
#include <map>
#include <set>
#include <string_view>
#include <tuple>
#include <utility>

#include "orvctl/history/Database.h"

namespace orv::ctl {
namespace {

constexpr std::size_t MIN_POINTS = 4;
constexpr double MIN_EXPLAINED = 0.5;
constexpr double TWO_SIDED_95 = 0.975;
constexpr double MS_PER_DAY = 86'400'000;

struct Line {
  double slope;      // bytes per day
  double spread;     // half of the range in which the slope lies
  double explained;  // share of the variance
};

// Times and bytes are taken relative to the last point, so that doubles hold them exactly enough.
Line lineThrough(const std::vector<GrowthPoint>& points) {
  const auto count = static_cast<double>(points.size());
  double sumX = 0;
  double sumY = 0;
  const auto xOf = [&](const GrowthPoint& point) {
    return static_cast<double>(point.time - points.back().time) / MS_PER_DAY;
  };
  const auto yOf = [&](const GrowthPoint& point) {
    return static_cast<double>(point.bytes - points.back().bytes);
  };
  for (const GrowthPoint& point : points) {
    sumX += xOf(point);
    sumY += yOf(point);
  }
  double xx = 0;
  double xy = 0;
  double yy = 0;
  for (const GrowthPoint& point : points) {
    const double x = xOf(point) - sumX / count;
    const double y = yOf(point) - sumY / count;
    xx += x * x;
    xy += x * y;
    yy += y * y;
  }
  if (xx <= 0 || yy <= 0)
    return {};
  const double slope = xy / xx;
  const double residual = std::max(0.0, yy - slope * xy);
  // Not computed with long doubles: the figures are rounded anyhow.
  using Policy = boost::math::policies::policy<boost::math::policies::promote_double<false>>;
  const boost::math::students_t_distribution<double, Policy> distribution(count - 2);
  return {
      slope,
      boost::math::quantile(distribution, TWO_SIDED_95) * std::sqrt(residual / (count - 2) / xx),
      1 - residual / yy};
}

using history::Database;
using history::reported;
using history::Transaction;

bool isBelow(std::string_view path, std::string_view directory) {
  return directory == "/" || (path.starts_with(directory) &&
                              (path.size() == directory.size() || path[directory.size()] == '/'));
}

// The scans of one path, newest first, from the last one to that at the beginning of the period.
std::span<const StoredScan> inPeriod(std::span<const StoredScan> scans, std::int64_t period) {
  const std::int64_t begin = scans.front().started - period;
  const auto first =
      std::ranges::find_if(scans, [&](const StoredScan& scan) { return scan.started <= begin; });
  const auto count = static_cast<std::size_t>(first - scans.begin());
  return scans.first(std::min(count + 1, scans.size()));
}

GrowthLine usedLine(std::span<const StoredScan> newestFirst) {
  GrowthLine line{"used", {}};
  for (const StoredScan& scan : newestFirst)
    if (scan.capacity)
      line.points.push_back({scan.started, scan.capacity->used});
  std::ranges::reverse(line.points);
  return line;
}

std::int64_t capacityOf(const StoredScan& scan) {
  return scan.capacity ? scan.capacity->bytes : 0;
}

PathGrowth pathGrowth(std::span<const StoredScan> newestFirst) {
  return {.first = newestFirst.back(),
          .last = newestFirst.front(),
          .scans = static_cast<int>(newestFirst.size()),
          .trend = trendOf(usedLine(newestFirst).points, capacityOf(newestFirst.front()))};
}

// Calls `use` with the scans of each host and path of a list that is in their order.
template <typename Use>
void forEachPath(std::span<const StoredScan> scans, Use&& use) {
  while (!scans.empty()) {
    const auto end = std::ranges::find_if(scans, [&](const StoredScan& scan) {
      return scan.host != scans.front().host || scan.path != scans.front().path;
    });
    const auto count = static_cast<std::size_t>(end - scans.begin());
    use(scans.first(count));
    scans = scans.subspan(count);
  }
}

// Of several scanned paths that contain the wanted one, the longest per host.
void keepNearest(std::vector<PathGrowth>& paths, const std::string& wanted) {
  std::map<std::string, std::size_t> longest;
  std::erase_if(paths, [&](const PathGrowth& path) { return !isBelow(wanted, path.last.path); });
  for (const PathGrowth& path : paths)
    longest[path.last.host] = std::max(longest[path.last.host], path.last.path.size());
  std::erase_if(paths, [&](const PathGrowth& path) {
    return path.last.path.size() < longest[path.last.host];
  });
}

void markNested(std::vector<PathGrowth>& paths) {
  for (PathGrowth& inner : paths)
    inner.nested = std::ranges::any_of(paths, [&](const PathGrowth& outer) {
      return outer.last.host == inner.last.host && outer.last.path != inner.last.path &&
             isBelow(inner.last.path, outer.last.path) && capacityOf(outer.last) != 0 &&
             capacityOf(outer.last) == capacityOf(inner.last);
    });
}

// Owners and types of all paths as one.
std::vector<Change> summed(const std::vector<Change>& changes) {
  std::map<std::string, Change> sums;
  for (const Change& change : changes) {
    Change& sum = sums[change.name];
    sum.name = change.name;
    if (change.before)
      sum.before = sum.before.value_or(0) + *change.before;
    if (change.after)
      sum.after = sum.after.value_or(0) + *change.after;
  }
  std::vector<Change> result;
  for (auto& [name, sum] : sums)
    if (sum.bytes() != 0)
      result.push_back(std::move(sum));
  return result;
}

// What two paths that lie in each other both name is kept once: as the outer one, which comes
// first.
template <typename Item, typename Name>
void keepFirst(std::vector<Item>& items, Name Item::*name) {
  std::set<std::pair<std::string, std::string>> seen;
  std::erase_if(items,
                [&](const Item& item) { return !seen.emplace(item.host, item.*name).second; });
}

void compare(Database& database, Growth& growth) {
  const GrowthQuestion& question = growth.question;
  const bool byDirectory = question.by == GrowthQuestion::By::DIRECTORY;
  for (const PathGrowth& path : growth.paths) {
    if (path.scans < 2 || (path.nested && !byDirectory))
      continue;
    std::ranges::move(history::changesOf(database, path, question.by),
                      std::back_inserter(growth.changes));
    std::ranges::move(history::newFilesOf(database, path), std::back_inserter(growth.newFiles));
  }
  if (!question.path.empty()) {
    const auto elsewhere = [&](const std::string& path) { return !isBelow(path, question.path); };
    std::erase_if(growth.newFiles, [&](const NewFile& file) { return elsewhere(file.path); });
    if (byDirectory)
      std::erase_if(growth.changes, [&](const Change& change) { return elsewhere(change.name); });
  }
  keepFirst(growth.newFiles, &NewFile::path);
  if (byDirectory)
    keepFirst(growth.changes, &Change::name);
  else
    growth.changes = summed(growth.changes);
  std::ranges::sort(growth.changes, {}, [](const Change& change) {
    return std::tuple(-change.bytes(), change.host, change.name);
  });
  std::ranges::stable_sort(growth.newFiles, std::ranges::greater{}, &NewFile::bytes);
}

}  // namespace

Trend trendOf(const std::vector<GrowthPoint>& points, std::int64_t capacity) {
  if (points.size() < MIN_POINTS)
    return {};
  const Line line = lineThrough(points);
  if (line.explained < MIN_EXPLAINED || std::fabs(line.slope) <= line.spread)
    return {};
  Trend trend{.kind = line.slope > 0 ? Trend::Kind::GROWING : Trend::Kind::FALLING,
              .bytesPerDay = line.slope,
              .lowest = line.slope - line.spread,
              .highest = line.slope + line.spread,
              .full = std::nullopt};
  const auto room = static_cast<double>(std::max(std::int64_t{0}, capacity - points.back().bytes));
  if (trend.kind == Trend::Kind::GROWING && capacity > 0)
    trend.full = Trend::Full{room / line.slope, room / trend.highest, room / trend.lowest};
  return trend;
}

Growth growthOf(History& history, const GrowthQuestion& question) {
  Growth growth{.question = question, .paths = {}, .changes = {}, .newFiles = {}};
  Database& database = history.database();
  reported("read history " + database.shownName(), [&] {
    Transaction transaction(database, Database::Access::READ);
    const auto scans = history::storedScans(database, {.host = question.host, .path = {}});
    forEachPath(scans, [&](std::span<const StoredScan> path) {
      growth.paths.push_back(pathGrowth(inPeriod(path, question.period)));
    });
    if (!question.path.empty())
      keepNearest(growth.paths, question.path);
    markNested(growth.paths);
    if (question.by != GrowthQuestion::By::HOST)
      compare(database, growth);
  });
  if (growth.paths.empty())
    throw CtlError(fmt::format("cannot tell growth: history {} has no scan of {}{}",
                               database.shownName(),
                               question.path.empty() ? "any path" : question.path,
                               question.host.empty() ? "" : " of host " + question.host));
  return growth;
}

std::optional<GrowthSeries> growthSeries(History& history, const std::string& host,
                                         const std::string& path, std::int64_t period,
                                         int directories) {
  Database& database = history.database();
  return reported("read history " + database.shownName(), [&]() -> std::optional<GrowthSeries> {
    Transaction transaction(database, Database::Access::READ);
    const auto all = history::storedScans(database, {.host = host, .path = path});
    const auto scans = all.empty() ? std::span(all) : inPeriod(all, period);
    if (scans.size() < 2)
      return std::nullopt;
    const PathGrowth growth = pathGrowth(scans);
    GrowthSeries series{.host = host,
                        .path = path,
                        .total = {path, {}},
                        .used = usedLine(scans),
                        .capacity = capacityOf(scans.front()),
                        .trend = growth.trend,
                        .directories = {}};
    for (const StoredScan& scan : scans)
      series.total.points.insert(series.total.points.begin(), {scan.started, scan.bytes});
    auto changes = history::changesOf(database, growth, GrowthQuestion::By::DIRECTORY);
    std::ranges::sort(changes, std::ranges::greater{},
                      [](const Change& change) { return std::abs(change.bytes()); });
    for (std::size_t i = 0; i < changes.size() && i < static_cast<std::size_t>(directories); ++i)
      series.directories.push_back(history::lineOf(database, growth, changes[i].name));
    return series;
  });
}

}  // namespace orv::ctl
