#include "orvctl/job/Places.h"

#include <fmt/format.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "orvctl/text/CtlError.h"
#include "orvctl/text/DisplayText.h"
#include "runtime/ut/Text.h"

namespace orv::ctl {
namespace {

namespace fs = std::filesystem;

// A directory of the user's: the one that the variable names, else that one in the home directory;
// empty when no home directory is known.
std::string userDirectory(const char* variable, const char* inHome) {
  // A path that is not absolute is to be taken for none.
  if (const char* named = std::getenv(variable); named != nullptr && *named == '/')
    return named;
  const char* home = std::getenv("HOME");
  if (home == nullptr || *home != '/') {
    const passwd* user = ::getpwuid(::geteuid());
    home = user == nullptr ? nullptr : user->pw_dir;
  }
  return home == nullptr || *home != '/' ? std::string() : std::string(home) + "/" + inHome;
}

}  // namespace

Installation installationOf(const std::string& program) {
  const fs::path bin = fs::path(program).parent_path();
  const fs::path programs = (bin / ORV_PROGRAMS_FROM_BIN).lexically_normal();
  const fs::path data = (bin / ORV_DATA_FROM_BIN).lexically_normal();
  const fs::path tree = bin.parent_path();
  std::error_code ignored;
  // Only a build stages the scan program beside this one. Of an installation that lacks all, the
  // installed places are the ones to name.
  if (!fs::exists(programs, ignored) &&
      (fs::exists(bin / "scan", ignored) || fs::exists(tree / "nls", ignored)))
    return {bin / "scan", bin / "Agent", tree / "nls/xrmna.cat", tree};
  return {programs / "scan", programs / "Agent", data / "xrmna.cat", {}};
}

Installation findInstallation() {
  std::error_code error;
  const fs::path program = fs::read_symlink("/proc/self/exe", error);
  if (error)
    throw CtlError("cannot locate the running program: " + error.message());
  return installationOf(program);
}

void requireComplete(const Installation& installation) {
  const auto require = [](const std::string& file, int mode) {
    if (::access(file.c_str(), mode) != 0)
      throw CtlError(fmt::format("orvctl is not completely installed: {}: {}", printable(file),
                                 errnoText(errno)));
  };
  require(installation.scan, X_OK);
  require(installation.agent, X_OK);
  require(installation.catalog, R_OK);
}

std::string stateDirectory() {
  // A service manager's variable; it lists the directories of a service, and the first is ours.
  if (const char* own = std::getenv("STATE_DIRECTORY"); own != nullptr && *own == '/')
    return std::string(own, std::strcspn(own, ":"));
  if (::geteuid() == 0)
    return "/var/lib/orvscan";
  const std::string state = userDirectory("XDG_STATE_HOME", ".local/state");
  if (state.empty())
    throw CtlError("cannot choose a state directory: no home directory is known");
  return state + "/orvscan";
}

std::string userName(uid_t user) {
  const passwd* entry = ::getpwuid(user);
  return entry == nullptr ? "user " + std::to_string(user) : entry->pw_name;
}

std::vector<std::string> settingsFiles() {
  std::vector<std::string> files;
  if (const std::string own = userDirectory("XDG_CONFIG_HOME", ".config"); !own.empty())
    files.push_back(own + "/orvscan/orvctl.toml");
  files.emplace_back("/etc/orvscan/orvctl.toml");
  return files;
}

}  // namespace orv::ctl
