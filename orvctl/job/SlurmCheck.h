#pragma once

#include <string>

namespace orv::ctl {

// What orvctl itself asks Slurm, whose own words it shows when Slurm says no. Both take a minute
// and throw CtlError then, when the controller does not answer.

// Throws CtlError unless Slurm would take tasks of this user in that partition (empty: its
// default).
void requireSlurm(const std::string& partition);

// Ends all tasks of that name, wherever they are. Throws CtlError.
void cancelTasks(const std::string& name);

}  // namespace orv::ctl
