#pragma once

#include <string>

namespace orv::ctl {

// Where what outlives a job is kept: /var/lib/orvscan for root, orvscan in $XDG_STATE_HOME (or
// ~/.local/state) for others. It need not exist. Throws CtlError when no home directory is known.
[[nodiscard]] std::string stateDirectory();

}  // namespace orv::ctl
