#include "orvctl/job/Places.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

#include "orvctl/text/CtlError.h"

namespace orv::ctl {

std::string stateDirectory() {
  if (::geteuid() == 0)
    return "/var/lib/orvscan";
  // A path that is not absolute is to be taken for none.
  if (const char* state = std::getenv("XDG_STATE_HOME"); state != nullptr && *state == '/')
    return std::string(state) + "/orvscan";
  const char* home = std::getenv("HOME");
  if (home == nullptr || *home != '/') {
    const passwd* user = ::getpwuid(::geteuid());
    home = user == nullptr ? nullptr : user->pw_dir;
  }
  if (home == nullptr || *home != '/')
    throw CtlError("cannot choose a state directory: no home directory is known");
  return std::string(home) + "/.local/state/orvscan";
}

}  // namespace orv::ctl
