#pragma once

#include "orvctl/history/Growth.h"

// A history for programs: JSON with names in snake_case, bytes and counts as integers, times in RFC
// 3339 UTC and null for what is not known; CSV with one table.
namespace orv::ctl {

[[nodiscard]] std::string scansJson(std::span<const StoredScan> scans);
[[nodiscard]] std::string scansCsv(std::span<const StoredScan> scans);

// Of CSV, one line per figure.
[[nodiscard]] std::string figuresJson(const StoredFigures& figures);
[[nodiscard]] std::string figuresCsv(const StoredFigures& figures);

// Everything, whatever number of entries a terminal would show.
[[nodiscard]] std::string growthJson(const Growth& growth);

// The changes; of growth by host, the paths.
[[nodiscard]] std::string growthCsv(const Growth& growth);

}  // namespace orv::ctl
