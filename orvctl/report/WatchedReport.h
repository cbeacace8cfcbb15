#pragma once

#include <string>
#include <vector>

#include "orvctl/model/ResultFile.h"
#include "orvctl/report/Report.h"

namespace orv::ctl {

// What one profile found in the monitored directories of a filesystem: a table of the directories,
// the largest first, then every statistic of each. `profileEntity` is the CuStatDef that holds
// their results, `specs` are the specifications (MonDirSpec) of that filesystem: those that no
// directory of the scan fitted are named. Empty when the entity holds the results of a filesystem.
[[nodiscard]] std::string renderWatched(const ResultFile& result, const Record& profile,
                                        const Entity& profileEntity,
                                        const std::vector<Record>& specs,
                                        const ReportOptions& options);

}  // namespace orv::ctl
