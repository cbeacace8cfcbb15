#pragma once

#include "orvctl/history/Growth.h"
#include "orvctl/text/Style.h"

// A history as a person reads it.
namespace orv::ctl {

// One line per scan.
[[nodiscard]] std::string renderScans(std::span<const StoredScan> scans, const Style& style);

// One scan with its largest figures.
[[nodiscard]] std::string renderFigures(const StoredFigures& figures, const Style& style);

// The paths with their trends, then at most `top` of what grew, shrank, is new or is gone.
[[nodiscard]] std::string renderGrowth(const Growth& growth, int top, const Style& style);

// In how many days a filesystem is full: "41 days (36 - 49)"; why it is not known; "shrinking".
[[nodiscard]] std::string fullText(const PathGrowth& path);

}  // namespace orv::ctl
