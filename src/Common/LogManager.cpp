#include "Common/LogManager.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <thread>

#include "Common/LogUtil.h"
#include "runtime/unx/Files.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"
#include "runtime/ut/UniqueFd.h"

namespace orv {

namespace {

UniqueFd openForAppending(const std::string& path) {
  const auto open = [&path] {
    return ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY, 0640);
  };
  int fd = open();
  if (fd < 0 && errno == ENOENT && makePath(parentDirectory(path)))
    fd = open();
  return UniqueFd(fd);
}

}  // namespace

int LogManager::LogActivityLog(std::string_view message) {
  TRACE_METHOD("LogManager::LogActivityLog(...)");
  const std::lock_guard guard(m_mutex);
  std::string line = timeText() + " ";
  line += message;
  if (!line.ends_with('\n'))
    line += '\n';
  const int error = append(line);
  if (error == 0)
    return 0;
  m_systemError = error;
  return NOT_WRITTEN;
}

// 0, or why the line was not written.
int LogManager::append(std::string_view line) {
  constexpr const char* NAME = "LogManager::LogActivityLog(...)";
  if (m_LogName.empty()) {
    TRACE(TR_MAX, "Exit %s, m_LogName not defined.", NAME);
    return ENOENT;
  }
  const UniqueFd fd = openForAppending(m_LogName);
  if (!fd) {
    const int error = errno;
    TRACE(TR_ERROR, "Exit: %s, could not open %s.", NAME, m_LogName.c_str());
    return error;
  }
  if (writeFully(fd.get(), line))
    return 0;
  const int error = errno;
  TRACE(TR_ERROR, "write %s: %s", m_LogName.c_str(), errnoText(error).c_str());
  return error;
}

void LogManager::CloseLogFile() {
  const std::lock_guard guard(m_mutex);
  m_LogName.clear();
}

void LogManager::changeLog(const std::string& newPath) {
  const std::lock_guard guard(m_mutex);
  TRACE(TR_MAX, "Changing log from %s to %s", m_LogName.c_str(), newPath.c_str());
  m_LogName = newPath;
}

int LogManager::systemError() const {
  const std::lock_guard guard(m_mutex);
  return m_systemError;
}

namespace {

constexpr int MAX_SIZE_KB_UNLESS_GIVEN = 10000;
constexpr std::chrono::milliseconds LOCK_INTERVAL{10};
constexpr std::chrono::seconds LOCK_PATIENCE{10};

// The parts of a log's path.
struct LogName {
  explicit LogName(const std::string& path) {
    const auto slash = path.rfind('/');
    directory = slash == std::string::npos ? "." : path.substr(0, std::max<std::size_t>(slash, 1));
    prefix = path.substr(slash + 1);
    if (const auto dot = prefix.rfind('.'); dot != std::string::npos && dot != 0) {
      extension = prefix.substr(dot);
      prefix.resize(dot);
    }
  }
  std::string directory;
  std::string prefix;
  std::string extension;
};

// Holds a directory for one job's changes at a time, as long as the object lives.
class DirectoryLock final {
 public:
  explicit DirectoryLock(const std::string& directory)
      : m_fd(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    const auto deadline = std::chrono::steady_clock::now() + LOCK_PATIENCE;
    while (m_fd && !tryLock() && std::chrono::steady_clock::now() < deadline) {
      TRACE(TR_MAX, "waiting to change the logs in %s", directory.c_str());
      std::this_thread::sleep_for(LOCK_INTERVAL);
    }
  }
  [[nodiscard]] bool isHeld() const noexcept { return m_isHeld; }

 private:
  bool tryLock() noexcept {
    m_isHeld = ::flock(m_fd.get(), LOCK_EX | LOCK_NB) == 0;
    return m_isHeld;
  }

  UniqueFd m_fd;
  bool m_isHeld = false;
};

LogLimits limitsOf(const CmdArgs& args) {
  const int maxSize =
      args.maxLogSize <= 0 ? MAX_SIZE_KB_UNLESS_GIVEN : std::max(args.maxLogSize / 1024, 1);
  return {.maxNumRuns = args.maxNumRuns,
          .maxNumLogs = args.maxNumLogs,
          .maxNumDays = args.maxNumDays,
          .maxSize = maxSize};
}

bool isPlainFile(const std::string& path) {
  struct stat st {};
  return ::lstat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

// Gives a plain log that stands where the link belongs the number after the highest there is: 1,
// unless numbered instances were kept before.
void numberPlainLog(const std::string& path, const LogName& name) {
  if (!isPlainFile(path))
    return;
  LogLimits noRoom;
  const std::string instance =
      name.directory + "/" + getNextLogName(name.directory, name.prefix, name.extension, noRoom);
  if (std::rename(path.c_str(), instance.c_str()) != 0)
    TRACE(TR_ERROR, "rename %s to %s: %s", path.c_str(), instance.c_str(),
          errnoText(errno).c_str());
}

// Makes `link` a symbolic link to `target`, in one step for whoever follows it.
void pointLink(const std::string& link, const std::string& target) {
  const std::string temporary = link + ".link";
  ::unlink(temporary.c_str());
  if (::symlink(target.c_str(), temporary.c_str()) == 0 &&
      std::rename(temporary.c_str(), link.c_str()) == 0)
    return;
  TRACE(TR_ERROR, "link %s to %s: %s", link.c_str(), target.c_str(), errnoText(errno).c_str());
  ::unlink(temporary.c_str());
}

}  // namespace

std::string openActivityLog(const CmdArgs& args, const std::string& defaultPath) {
  TRACE_METHOD("openActivityLog(...)");
  if (args.maxNumLogs <= 0)
    return defaultPath;
  const LogName name(defaultPath);
  const bool hasDirectory = makePath(name.directory);
  const DirectoryLock lock(name.directory);
  if (!hasDirectory || !lock.isHeld()) {
    TRACE(TR_ERROR, "keep numbered logs in %s: %s", name.directory.c_str(),
          errnoText(errno).c_str());
    return defaultPath;
  }
  numberPlainLog(defaultPath, name);
  LogLimits limits = limitsOf(args);
  const std::string next = getNextLogName(name.directory, name.prefix, name.extension, limits);
  purgeLogFiles(getMatchingFilesMap(name.directory, name.prefix, name.extension), limits, false);
  pointLink(defaultPath, next);
  return name.directory + "/" + next;
}

}  // namespace orv
