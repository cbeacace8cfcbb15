#include "orvctl/job/ClusterWork.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

#include "orvctl/job/Places.h"
#include "orvctl/job/SlurmCheck.h"
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
// Where the coordinator plans; empty before it begins.
constexpr const char* SHARES = "/shares";
// There when the scan is not to be gone on with.
constexpr const char* CANCELLED = "/cancelled";

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

// As an absolute path without a trailing "/".
std::string fullPath(const std::string& path) {
  std::error_code error;
  const fs::path full = fs::absolute(path, error).lexically_normal();
  return full.has_filename() ? full : full.parent_path();
}

// What another user could have written there would have this one start programs and remove files.
void requireOwn(const std::string& path) {
  struct stat info {};
  if (::lstat(path.c_str(), &info) != 0)
    cannotUse(path, errnoText(errno));
  if (!S_ISDIR(info.st_mode))
    cannotUse(path, errnoText(ENOTDIR));
  if (info.st_uid != ::geteuid())
    cannotUse(path, "it belongs to another user; do this as " + userName(info.st_uid));
  if ((info.st_mode & 077) != 0)
    cannotUse(path, fmt::format("others may use it, too: its mode is {:04o} instead of 0700",
                                info.st_mode & 07777));
}

}  // namespace

ClusterWork::ClusterWork(std::string path, ClusterSettings settings, std::string agent)
    : m_path(std::move(path)), m_settings(std::move(settings)), m_agent(std::move(agent)) {}

ClusterWork ClusterWork::make(const std::string& path, const ClusterSettings& settings,
                              const AgentDirectory& agent, const LocalJob& job) {
  const std::string full = fullPath(path);
  if (!makePath(parentDirectory(full)) || ::mkdir(full.c_str(), 0700) != 0)
    cannotUse(full, "create it: " + errnoText(errno));
  const ClusterWork work(full, settings, agent.path);
  try {
    work.fill(job);
  } catch (const CtlError&) {
    work.remove();
    throw;
  }
  return work;
}

void ClusterWork::fill(const LocalJob& job) const {
  const json text = {{"engine", m_settings.engine},   {"partition", utf8Text(m_settings.partition)},
                     {"tasks", m_settings.tasks},     {"budget", m_settings.budget},
                     {"threads", m_settings.threads}, {"agent", utf8Text(m_agent)}};
  write(m_path, DEFINITION, wholeFile(job.definition(), ""));
  write(m_path, MOUNT_TABLE, wholeFile(job.mountTable(), ""));
  job.record().write(m_path + RECORD);
  // Last: a directory that has them can be gone on with.
  write(m_path, SETTINGS, text.dump(2) + "\n");
}

ClusterWork ClusterWork::open(const std::string& path) {
  const std::string full = fullPath(path);
  requireOwn(full);
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
  // On a full disk its starter takes the end for a failure; it ends all the same.
  (void)replaceFile(m_path + CANCELLED, m_path + CANCELLED + ".part", "");
  if (wasHeld) {
    std::array<char, 256> node{};
    // Nobody's number: others would be ended by it, too.
    if (coordinator.pid <= 1)
      cannotUse(m_path, "a scan works in it that does not say which one it is");
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
  if (m_settings.engine == "slurm" && !coordinator.run.empty())
    cancelTasks("orvscan-" + coordinator.run);
  return wasHeld;
}

void ClusterWork::takeUp() const {
  const std::string file = m_path + COORDINATOR;
  if (!isHeld(file)) {
    // Of a cancelling that failed.
    ::unlink((m_path + CANCELLED).c_str());
    return;
  }
  const Coordinator coordinator = coordinatorOf(readWholeFile(file).value_or(""));
  cannotUse(m_path, fmt::format("process {} on {} works in it", coordinator.pid,
                                withoutControlCharacters(coordinator.node)));
}

bool ClusterWork::removeIfUnused() const {
  std::error_code error;
  if (fs::directory_iterator(m_path + SHARES, error) != fs::directory_iterator() ||
      isHeld(m_path + COORDINATOR))
    return false;
  try {
    remove();
    return true;
  } catch (const CtlError&) {
    return false;
  }
}

bool ClusterWork::isCancelled() const {
  struct stat info {};
  return ::stat((m_path + SETTINGS).c_str(), &info) != 0 ||
         ::stat((m_path + CANCELLED).c_str(), &info) == 0;
}

void ClusterWork::remove() const {
  std::error_code error;
  // First, as they were written last: what is half removed cannot be gone on with.
  fs::remove(m_path + SETTINGS, error);
  fs::remove_all(m_path, error);
  // Another one may do the same, or a late task of Slurm may still write.
  for (int tries = 20; tries > 0 && error; --tries) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    fs::remove_all(m_path, error);
  }
  if (error)
    throw CtlError(fmt::format("cannot remove work directory {}: {}",
                               withoutControlCharacters(m_path), error.message()));
}

}  // namespace orv::ctl
