#pragma once

#include "orvctl/model/Model.h"
#include "orvctl/model/ResultFile.h"

namespace orv::ctl {

// Bytes of the units in which results count capacity and blocks.
inline constexpr std::int64_t CAPACITY_UNIT = 512;

// The file or directory of a record that ends in the "fa" fields.
[[nodiscard]] Entry readEntry(const Record& record);

// The sums of one CuStatResults; missing when the profile asked for none.
[[nodiscard]] std::optional<Totals> readTotals(const ResultFile& result, const Entity& results);

// Everything in one CuStatResults. `profile` says which rankings were asked for.
[[nodiscard]] Statistics readStatistics(const ResultFile& result, const Record& profile,
                                        const Entity& results);

}  // namespace orv::ctl
