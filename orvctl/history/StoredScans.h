#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "orvctl/history/Database.h"
#include "orvctl/history/History.h"

// What History does inside its transactions.
namespace orv::ctl::history {

// As History::list gives them.
[[nodiscard]] std::vector<StoredScan> storedScans(Database& database, const ScanFilter& filter);

// A scan with at most `top` of each of its figures; its id is 0 when it is not there.
[[nodiscard]] StoredFigures storedFigures(Database& database, std::int64_t id, int top);

// Those of a list that no rule keeps.
[[nodiscard]] std::vector<StoredScan> unkept(const std::vector<StoredScan>& scans,
                                             std::span<const KeepRule> rules, std::int64_t now);

// Removes scans with all their rows, and the names and series that no scan needs any more.
void removeScans(Database& database, std::span<const StoredScan> scans);

}  // namespace orv::ctl::history
