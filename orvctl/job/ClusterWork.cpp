#include "orvctl/job/ClusterWork.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

#include "orvctl/text/CtlError.h"
#include "orvctl/text/Utf8.h"
#include "runtime/unx/AtomicFile.h"
#include "runtime/unx/Files.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/UniqueFd.h"

namespace orv::ctl {
namespace {

using nlohmann::json;
namespace fs = std::filesystem;

constexpr const char* SETTINGS = "/settings";
constexpr const char* RECORD = "/about";
constexpr const char* DEFINITION = "/definition.dat";
constexpr const char* MOUNT_TABLE = "/mnttab";
// Held by the coordinator while it works; says who it is.
constexpr const char* COORDINATOR = "/coordinator";

[[noreturn]] void cannotUse(const std::string& path, const std::string& why) {
  throw CtlError(
      fmt::format("cannot use work directory {}: {}", withoutControlCharacters(path), why));
}

std::string wholeFile(const std::string& directory, const char* name) {
  auto text = readWholeFile(directory + name);
  if (!text)
    cannotUse(directory, fmt::format("read {}: {}", name + 1, errnoText(errno)));
  return std::move(*text);
}

void write(const std::string& directory, const char* name, const std::string& text) {
  const std::string file = directory + name;
  if (!replaceFile(file, file + ".part", text))
    cannotUse(directory, fmt::format("write {}: {}", name + 1, errnoText(errno)));
}

// Who works in the directory, as it says itself.
struct Coordinator {
  pid_t pid = 0;
  std::string node;
  std::string run;
};

Coordinator coordinatorOf(const std::string& text) {
  Coordinator found;
  std::istringstream lines(text);
  lines >> found.pid >> found.node >> found.run;
  return found;
}

// Whether somebody holds the file.
bool isHeld(const std::string& file) {
  const UniqueFd fd(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
  return fd && ::flock(fd.get(), LOCK_SH | LOCK_NB) != 0;
}

// Runs a command that is looked for in the path. Its exit code, or 127.
int run(std::vector<std::string> words) {
  std::vector<char*> arguments;
  for (std::string& word : words)
    arguments.push_back(word.data());
  arguments.push_back(nullptr);
  pid_t pid = 0;
  if (::posix_spawnp(&pid, arguments.front(), nullptr, nullptr, arguments.data(), environ) != 0)
    return 127;
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 127;
}

}  // namespace

ClusterWork::ClusterWork(std::string path, ClusterSettings settings, std::string agent)
    : m_path(std::move(path)), m_settings(std::move(settings)), m_agent(std::move(agent)) {}

ClusterWork ClusterWork::make(const std::string& path, const ClusterSettings& settings,
                              const AgentDirectory& agent, const LocalJob& job) {
  std::error_code error;
  const std::string full = fs::absolute(path, error).lexically_normal();
  if (!makePath(parentDirectory(full)) || ::mkdir(full.c_str(), 0700) != 0)
    cannotUse(full, errnoText(errno));
  const ClusterWork work(full, settings, agent.path);
  const json text = {{"engine", settings.engine},   {"partition", utf8Text(settings.partition)},
                     {"tasks", settings.tasks},     {"budget", settings.budget},
                     {"threads", settings.threads}, {"agent", utf8Text(agent.path)}};
  write(full, DEFINITION, wholeFile(job.definition(), ""));
  write(full, MOUNT_TABLE, wholeFile(job.mountTable(), ""));
  job.record().write(full + RECORD);
  // Last: a directory that has them can be gone on with.
  write(full, SETTINGS, text.dump(2) + "\n");
  return work;
}

ClusterWork ClusterWork::open(const std::string& path) {
  std::error_code error;
  const std::string full = fs::absolute(path, error).lexically_normal();
  try {
    const json text = json::parse(wholeFile(full, SETTINGS));
    ClusterSettings settings;
    text.at("engine").get_to(settings.engine);
    settings.partition = bytesOf(text.at("partition").get<std::string>());
    text.at("tasks").get_to(settings.tasks);
    text.at("budget").get_to(settings.budget);
    text.at("threads").get_to(settings.threads);
    return {full, settings, bytesOf(text.at("agent").get<std::string>())};
  } catch (const json::exception&) {
    cannotUse(full, "its settings are damaged");
  }
}

RunRecord ClusterWork::record() const {
  auto record = RunRecord::read(m_path + RECORD);
  if (!record)
    cannotUse(m_path, "the record of its job is missing or damaged");
  return std::move(*record);
}

std::string ClusterWork::definition() const {
  return wholeFile(m_path, DEFINITION);
}
std::string ClusterWork::mountTable() const {
  return wholeFile(m_path, MOUNT_TABLE);
}

std::vector<std::string> ClusterWork::environment() const {
  return {"ORV_SHARES=" + m_path, "ORV_SHARES_ENGINE=" + m_settings.engine,
          "ORV_SHARES_PARTITION=" + m_settings.partition,
          "ORV_SHARES_TASKS=" + std::to_string(m_settings.tasks),
          "ORV_SHARES_BUDGET=" + std::to_string(m_settings.budget)};
}

bool ClusterWork::cancel() const {
  const std::string file = m_path + COORDINATOR;
  const Coordinator coordinator = coordinatorOf(readWholeFile(file).value_or(""));
  const bool wasHeld = isHeld(file);
  if (wasHeld) {
    std::array<char, 256> node{};
    if (::gethostname(node.data(), node.size() - 1) != 0 || coordinator.node != node.data())
      throw CtlError(fmt::format("the scan is coordinated by process {} on {}; cancel it there",
                                 coordinator.pid, withoutControlCharacters(coordinator.node)));
    ::kill(coordinator.pid, SIGTERM);
    constexpr int TRIES = 200;
    for (int i = 0; i < TRIES && isHeld(file); ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    if (isHeld(file))
      throw CtlError(fmt::format("process {} does not end; kill it", coordinator.pid));
  }
  // Also of a coordinator that was killed: its tasks do not know.
  if (m_settings.engine == "slurm" && !coordinator.run.empty() &&
      run({"scancel", "--name=orvscan-" + coordinator.run}) != 0)
    throw CtlError("scancel fails; the scan's tasks may be in Slurm's queue yet: orvscan-" +
                   coordinator.run);
  return wasHeld;
}

void ClusterWork::remove() const {
  std::error_code error;
  fs::remove_all(m_path, error);
  if (error)
    throw CtlError(fmt::format("cannot remove work directory {}: {}",
                               withoutControlCharacters(m_path), error.message()));
}

}  // namespace orv::ctl
