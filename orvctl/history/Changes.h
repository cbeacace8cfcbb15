#pragma once

#include <vector>

#include "orvctl/history/Database.h"
#include "orvctl/history/Growth.h"

// The queries that compare two scans of a path, for Growth.cpp.
namespace orv::ctl::history {

// What differs between the first and the last scan of a path, in no order. A directory or type that
// one of the scans may only not have measured is left out.
[[nodiscard]] std::vector<Change> changesOf(Database& database, const PathGrowth& path,
                                            GrowthQuestion::By by);

// The new ones among the largest files, largest first.
[[nodiscard]] std::vector<NewFile> newFilesOf(Database& database, const PathGrowth& path);

// How large a directory was in the scans of a path from the first to the last.
[[nodiscard]] GrowthLine lineOf(Database& database, const PathGrowth& path,
                                const std::string& directory);

}  // namespace orv::ctl::history
