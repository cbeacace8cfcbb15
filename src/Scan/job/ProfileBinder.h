#pragma once

#include "Scan/job/FilesystemBinding.h"

// Ties a job's statistic profiles to what they are gathered on. Called by the filesystem scan, on
// its thread.
//
// The profile's type code decides (`sdType` read as a decimal number): 0 monitored directories
// only; 3 every filesystem and every monitored directory; 4 the filesystems that the profile lists;
// any other, every filesystem. A profile whose where clause does not parse is reported and skipped.
namespace orv {

// Binds the profiles to filesystems and announces them in one message, but for those of code 3.
// `profiles` is the head of the job's chain. 0, or SCAN_INCOMPLETE when a clause does not parse.
[[nodiscard]] int bindProfiles(CuStatDef* profiles, Bindings& bindings);

// Binds the profiles to the monitored directories and announces those of code 0; nothing when no
// directory lies in a filesystem of the job. Called after `bindProfiles`, which parses the clauses
// of code 3. Result as there.
[[nodiscard]] int bindDirectoryProfiles(CuStatDef* profiles, Bindings& bindings);

}  // namespace orv
