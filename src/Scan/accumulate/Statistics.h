#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "Scan/accumulate/Accumulator.h"

namespace orv {

class CuStatDef;
class Filesystem;
struct CuStatResults;

// What the accumulators of one profile on one tree are made from. Everything is borrowed and must
// outlive them.
struct StatisticRequest {
  const CuStatDef& profile;
  const Filesystem& filesystem;
  CuStatResults& results;
  std::int64_t scanTime;  // milliseconds since 1970
  bool hasOwners;         // the filesystem knows owners and groups
};

// The accumulators that the profile's switches ask for, in the order of creation. Records that an
// accumulator only adds to are made, identified and hung into the results here. The largest
// directories are not among them: their accumulator is called differently.
[[nodiscard]] std::vector<std::unique_ptr<Accumulator>> makeAccumulators(
    const StatisticRequest& request);

// Whether the element is of a class that `makeAccumulators` makes, by its object name.
[[nodiscard]] bool isStatistic(const ListElement& element) noexcept;

}  // namespace orv
