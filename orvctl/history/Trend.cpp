#include "orvctl/history/Trend.h"

#include <algorithm>
#include <boost/math/distributions/students_t.hpp>
#include <cmath>

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
  const boost::math::students_t distribution(count - 2);
  return {
      slope,
      boost::math::quantile(distribution, TWO_SIDED_95) * std::sqrt(residual / (count - 2) / xx),
      1 - residual / yy};
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

}  // namespace orv::ctl
