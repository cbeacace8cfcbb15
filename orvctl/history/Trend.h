#pragma once

#include <cstdint>
#include <vector>

#include "orvctl/model/GrowthSeries.h"

namespace orv::ctl {

// The straight line of least squares through points in the order of time, of which there must be
// four. It is a trend when it explains at least half of how the points differ and its slope is not
// 0 with a probability of 95 %. `capacity` (bytes, 0 when not known) is what the last point's
// bytes fill.
[[nodiscard]] Trend trendOf(const std::vector<GrowthPoint>& points, std::int64_t capacity);

}  // namespace orv::ctl
