#include "AgentDirectory.h"

#include <fmt/format.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "CtlError.h"
#include "common/unx/Files.h"
#include "common/ut/Text.h"

namespace orv::ctl {
namespace {

// What a job needs in the agent directory besides its folders.
constexpr std::array<const char*, 2> LINKED_FILES = {"bin/Agent", "nls/xrmna.cat"};

[[noreturn]] void cannotUse(const std::string& directory, const std::string& why) {
  throw CtlError(
      fmt::format("cannot use agent directory {}: {}", withoutControlCharacters(directory), why));
}

std::string userDataDirectory() {
  if (const char* data = std::getenv("XDG_DATA_HOME"); data != nullptr && *data == '/')
    return data;
  const char* home = std::getenv("HOME");
  if (home == nullptr || *home != '/') {
    const passwd* user = ::getpwuid(::getuid());
    home = user == nullptr ? nullptr : user->pw_dir;
  }
  if (home == nullptr || *home != '/')
    throw CtlError("cannot choose an agent directory: no home directory is known; give --agent");
  return std::string(home) + "/.local/share";
}

void makeFolder(const std::string& agent, const std::string& folder) {
  if (!makePath(folder))
    cannotUse(agent, fmt::format("cannot create {}: {}", withoutControlCharacters(folder),
                                 errnoText(errno)));
  if (::access(folder.c_str(), W_OK | X_OK) != 0)
    cannotUse(agent, fmt::format("cannot write to {}: {}", withoutControlCharacters(folder),
                                 errnoText(errno)));
}

// A regular file is the directory's own and stays; a link may lead to where an earlier build was.
void linkFromStaged(const std::string& agent, const std::string& staged, const std::string& file) {
  const std::string own = agent + "/" + file;
  const std::string target = staged + "/" + file;
  struct stat info {};
  if (::lstat(own.c_str(), &info) == 0 && !S_ISLNK(info.st_mode))
    return;
  if (::access(target.c_str(), R_OK) != 0)
    cannotUse(agent, fmt::format("{} is missing and cannot be taken from {}: {}", file, staged,
                                 errnoText(errno)));
  makeFolder(agent, parentDirectory(own));
  // Through a name of this process, so that a job that runs beside this one always finds the link.
  const std::string fresh = fmt::format("{}.{}", own, ::getpid());
  if (::symlink(target.c_str(), fresh.c_str()) != 0 || ::rename(fresh.c_str(), own.c_str()) != 0)
    cannotUse(agent, fmt::format("cannot link {} to {}: {}", withoutControlCharacters(own), target,
                                 errnoText(errno)));
}

std::string chosenDirectory(const std::string& asked, const std::string& staged) {
  std::error_code error;
  if (!asked.empty()) {
    std::filesystem::path path = std::filesystem::absolute(asked, error).lexically_normal();
    // "dir/" ends in an empty component.
    return path.has_filename() || path == path.root_path() ? path : path.parent_path();
  }
  if (::access(staged.c_str(), W_OK | X_OK) == 0)
    return staged;
  return userDataDirectory() + "/orvscan";
}

}  // namespace

std::string stagedAgentDirectory() {
  std::error_code error;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error)
    throw CtlError("cannot locate the running program: " + error.message());
  return program.parent_path().parent_path();
}

AgentDirectory prepareAgentDirectory(const std::string& directory, const std::string& staged) {
  const AgentDirectory agent{chosenDirectory(directory, staged)};
  for (const std::string& folder : {agent.inputDirectory(), agent.outputDirectory(),
                                    agent.logDirectory(), agent.path + "/config"})
    makeFolder(agent.path, folder);
  if (agent.path != staged)
    for (const char* file : LINKED_FILES)
      linkFromStaged(agent.path, staged, file);
  return agent;
}

}  // namespace orv::ctl
