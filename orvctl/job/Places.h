#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

// Where things are: what is installed with the running program, what outlives a job, settings.
namespace orv::ctl {

// The files that belong to an orvctl. They are looked for from where the program itself is, through
// links to it, so that an installation may be moved as a whole.
struct Installation {
  std::string scan;     // the scan program
  std::string agent;    // the stand-in for the agent's program
  std::string catalog;  // of the scan program's messages
  // The agent directory that a build stages, which holds them all; empty when they are installed.
  std::string tree;
};

// What belongs to the program of that absolute path; none of it need be there.
[[nodiscard]] Installation installationOf(const std::string& program);

// What belongs to the running program. Throws CtlError when that cannot be located.
[[nodiscard]] Installation findInstallation();

// Throws CtlError, which names the file, unless everything is there that a scan needs.
void requireComplete(const Installation& installation);

// Where what outlives a job is kept: $STATE_DIRECTORY for a service that has one, else
// /var/lib/orvscan for root and orvscan in $XDG_STATE_HOME (or ~/.local/state) for others. It need
// not exist. Throws CtlError when no home directory is known.
[[nodiscard]] std::string stateDirectory();

// What to call that user: by name, or by number where there is no user entry.
[[nodiscard]] std::string userName(uid_t user);

// The files with the user's and the system's settings, the one that goes before first. They need
// not exist.
[[nodiscard]] std::vector<std::string> settingsFiles();

}  // namespace orv::ctl
