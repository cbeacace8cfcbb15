#include "orvctl/job/AgentDirectory.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include "orvctl/text/CtlError.h"
#include "runtime/unx/AtomicFile.h"
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
  std::string Installation::*target;
  bool isLink;
};
constexpr std::array<NeededFile, 2> NEEDED_FILES = {
    {{"bin/Agent", &Installation::agent, false}, {"nls/xrmna.cat", &Installation::catalog, true}}};

// Whose directory an agent directory is, and the way out when that is somebody else: many begin
// with a scan as root, and go on without.
std::string wayOut(const std::string& directory) {
  struct stat info {};
  std::string belongs;
  if (::stat(directory.c_str(), &info) == 0 && info.st_uid != ::geteuid())
    belongs = " (it belongs to " + userName(info.st_uid) + ")";
  return belongs + "; give one of your own with --agent DIR";
}

[[noreturn]] void cannotUse(const std::string& directory, const std::string& why) {
  throw CtlError(
      fmt::format("cannot use agent directory {}: {}", withoutControlCharacters(directory), why));
}

void makeFolder(const std::string& agent, const std::string& folder) {
  const char* doing = "create";
  bool isReady = makePath(folder);
  if (isReady) {
    doing = "write to";
    isReady = isAccessible(folder, W_OK | X_OK);
  }
  const int error = errno;
  if (!isReady)
    cannotUse(agent, fmt::format("cannot {} {}: {}{}", doing, withoutControlCharacters(folder),
                                 errnoText(error), error == EACCES ? wayOut(agent) : ""));
}

// Whether the agent directory has that file of its own.
bool hasOwn(const std::string& file, bool isLink) {
  struct stat info {};
  if (isLink)
    return ::lstat(file.c_str(), &info) == 0 && !S_ISLNK(info.st_mode);
  return ::stat(file.c_str(), &info) == 0;
}

// Whether a copy is to be made anew: another version was installed since.
bool isOutdated(const std::string& copy, const std::string& target) {
  return readWholeFile(copy) != readWholeFile(target);
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

// In a directory that the user named, a program that is there is the user's.
void takeInstalled(const std::string& agent, const std::string& target, const NeededFile& file,
                   bool isNamed) {
  const std::string own = agent + "/" + file.name;
  if (hasOwn(own, file.isLink) && (isNamed || file.isLink || !isOutdated(own, target)))
    return;
  if (!isAccessible(target, R_OK))
    cannotUse(agent, fmt::format("{} is missing and cannot be taken from {}: {}", file.name, target,
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

std::string chosenAgentDirectory(const std::string& asked, const Installation& installation) {
  std::error_code error;
  if (!asked.empty()) {
    std::filesystem::path path = std::filesystem::absolute(asked, error).lexically_normal();
    // "dir/" ends in an empty component.
    return path.has_filename() || path == path.root_path() ? path : path.parent_path();
  }
  const std::string& tree = installation.tree;
  return !tree.empty() && isAccessible(tree, W_OK | X_OK) ? tree : stateDirectory();
}

AgentDirectory prepareAgentDirectory(const std::string& asked, const Installation& installation) {
  const AgentDirectory agent{chosenAgentDirectory(asked, installation)};
  for (const std::string& folder : {agent.inputDirectory(), agent.outputDirectory(),
                                    agent.logDirectory(), agent.path + "/config"})
    makeFolder(agent.path, folder);
  if (agent.path != installation.tree)
    for (const NeededFile& file : NEEDED_FILES)
      takeInstalled(agent.path, installation.*file.target, file, !asked.empty());
  return agent;
}

}  // namespace orv::ctl
