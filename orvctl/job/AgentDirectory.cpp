#include "orvctl/job/AgentDirectory.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "orvctl/text/CtlError.h"
#include "runtime/unx/Files.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/UniqueFd.h"

namespace orv::ctl {
namespace {

// What a job needs in the agent directory besides its folders. The catalog must be that of the scan
// program that runs, so it is a link that is renewed. The agent's program finds the agent directory
// by where it lies itself, so it is a copy, and one that is there already is used.
struct NeededFile {
  const char* name;
  bool isLink;
};
constexpr std::array<NeededFile, 2> NEEDED_FILES = {
    {{"bin/Agent", false}, {"nls/xrmna.cat", true}}};

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

bool isThere(const std::string& file, bool isLink) {
  struct stat info {};
  if (isLink)
    return ::lstat(file.c_str(), &info) == 0 && !S_ISLNK(info.st_mode);
  return ::stat(file.c_str(), &info) == 0;
}

// Copies a program file. Unlike the standard library's copy it tells a full disk from other errors.
std::error_code copyProgram(const std::string& from, const std::string& to) {
  const UniqueFd in(::open(from.c_str(), O_RDONLY | O_CLOEXEC));
  const UniqueFd out(::open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0755));
  if (!in || !out)
    return {errno, std::generic_category()};
  std::array<char, 65536> buffer;
  ssize_t got = 0;
  while ((got = ::read(in.get(), buffer.data(), buffer.size())) > 0)
    if (!writeFully(out.get(), {buffer.data(), static_cast<std::size_t>(got)}))
      return {errno, std::generic_category()};
  return got < 0 ? std::error_code(errno, std::generic_category()) : std::error_code();
}

void takeFromStaged(const std::string& agent, const std::string& staged, const NeededFile& file) {
  const std::string own = agent + "/" + file.name;
  const std::string target = staged + "/" + file.name;
  if (isThere(own, file.isLink))
    return;
  if (::access(target.c_str(), R_OK) != 0)
    cannotUse(agent, fmt::format("{} is missing and cannot be taken from {}: {}", file.name, staged,
                                 errnoText(errno)));
  makeFolder(agent, parentDirectory(own));
  // Through a name of this process, so that a job that runs beside this one always finds the file.
  const std::string fresh = fmt::format("{}.{}", own, ::getpid());
  std::error_code error;
  if (file.isLink)
    std::filesystem::create_symlink(target, fresh, error);
  else
    error = copyProgram(target, fresh);
  if (!error)
    std::filesystem::rename(fresh, own, error);
  if (error) {
    ::unlink(fresh.c_str());
    cannotUse(agent, fmt::format("cannot make {} from {}: {}", withoutControlCharacters(own),
                                 target, error.message()));
  }
}

}  // namespace

std::string stagedAgentDirectory() {
  std::error_code error;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error)
    throw CtlError("cannot locate the running program: " + error.message());
  return program.parent_path().parent_path();
}

std::string chosenAgentDirectory(const std::string& asked, const std::string& staged) {
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

AgentDirectory prepareAgentDirectory(const std::string& directory, const std::string& staged) {
  const AgentDirectory agent{chosenAgentDirectory(directory, staged)};
  for (const std::string& folder : {agent.inputDirectory(), agent.outputDirectory(),
                                    agent.logDirectory(), agent.path + "/config"})
    makeFolder(agent.path, folder);
  if (agent.path != staged)
    for (const NeededFile& file : NEEDED_FILES)
      takeFromStaged(agent.path, staged, file);
  return agent;
}

}  // namespace orv::ctl
