#include "Common/LogManager.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <thread>

#include "Common/LogUtil.h"
#include "Common/unix/Filelock.h"
#include "runtime/unx/Files.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

constexpr std::chrono::milliseconds GROWTH{5};

UniqueFd openLog(const std::string& path) {
  UniqueFd fd = openForAppending(path);
  if (!fd && errno == ENOENT && makePath(parentDirectory(path)))
    fd = openForAppending(path);
  return fd;
}

// The size of a regular file that does not end in a line break; 0 for any other.
off_t sizeWithCutLine(int fd) noexcept {
  struct stat st {};
  char last = '\n';
  const bool isCut = ::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && st.st_size > 0 &&
                     ::pread(fd, &last, 1, st.st_size - 1) == 1 && last != '\n';
  return isCut ? st.st_size : 0;
}

// Whether the last line of a log lacks its end: a full disk cut it, or a kill. A line that another
// job is just writing grows; should it not, one line break too many does no harm.
bool endsInACutLine(int fd) noexcept {
  const off_t size = sizeWithCutLine(fd);
  if (size == 0)
    return false;
  std::this_thread::sleep_for(GROWTH);
  return sizeWithCutLine(fd) == size;
}

// Whether the file still has a name that it can be found by.
bool isThere(int fd) noexcept {
  struct stat st {};
  return ::fstat(fd, &st) == 0 && st.st_nlink > 0;
}

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

// Lets one job at a time change which logs there are, as long as the object lives, by a lock file
// beside the log that nobody else may write to. A lock that is not to be had stops nothing: every
// change by itself keeps all lines, only the numbers may have gaps.
class LogLock final {
 public:
  explicit LogLock(const std::string& log) : m_lock(log + ".lck") {
    const auto deadline = std::chrono::steady_clock::now() + LOCK_PATIENCE;
    int code = m_lock.lockFile();
    while (code == Filelock::LOCKED_BY_ANOTHER && std::chrono::steady_clock::now() < deadline) {
      TRACE(TR_MAX, "waiting to change the logs of %s", log.c_str());
      std::this_thread::sleep_for(LOCK_INTERVAL);
      code = m_lock.lockFile();
    }
    if (code != Filelock::LOCKED)
      TRACE(TR_ERROR, "lock %s: %s", m_lock.name().c_str(), errnoText(errno).c_str());
  }

 private:
  Filelock m_lock;
};

LogLimits limitsOf(const CmdArgs& args) {
  const int maxSize =
      args.maxLogSize <= 0 ? MAX_SIZE_KB_UNLESS_GIVEN : std::max(args.maxLogSize / 1024, 1);
  return {.maxNumRuns = args.maxNumRuns,
          .maxNumLogs = args.maxNumLogs,
          .maxNumDays = args.maxNumDays,
          .maxSize = maxSize};
}

// Whether a file stands there that has no other name.
bool isPlainFile(const std::string& path) {
  struct stat st {};
  return ::lstat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) && st.st_nlink == 1;
}

std::string newInstance(const LogName& name) {
  LogLimits noRoom;
  return name.directory + "/" + getNextLogName(name.directory, name.prefix, name.extension, noRoom);
}

// Gives a plain log that stands where the link belongs the number after the highest there is: 1,
// unless numbered instances were kept before. It keeps its own name until the link takes that, so
// that no job makes a new plain log in between; where files have one name only, it is renamed.
void numberPlainLog(const std::string& path, const LogName& name) {
  if (!isPlainFile(path))
    return;
  const std::string instance = newInstance(name);
  if (::link(path.c_str(), instance.c_str()) != 0 &&
      std::rename(path.c_str(), instance.c_str()) != 0)
    TRACE(TR_ERROR, "rename %s to %s: %s", path.c_str(), instance.c_str(),
          errnoText(errno).c_str());
}

// Puts `temporary` in the place of `link`, in one step for whoever follows it. What stood there is
// then `temporary`.
bool changePlaces(const std::string& temporary, const std::string& link) {
  const auto rename = [&](unsigned flags) {
    return ::renameat2(AT_FDCWD, temporary.c_str(), AT_FDCWD, link.c_str(), flags) == 0;
  };
  // Between the two another job may make the file or, where links are removed by hand, lose it.
  for (int i = 0; i < 3; ++i) {
    if (rename(RENAME_EXCHANGE) || (errno == ENOENT && rename(RENAME_NOREPLACE)))
      return true;
    if (errno != EEXIST)
      break;
  }
  // Not every filesystem can exchange.
  return std::rename(temporary.c_str(), link.c_str()) == 0;
}

// Makes the log's name a symbolic link to `target`.
void pointLink(const std::string& link, const std::string& target, const LogName& name) {
  const std::string temporary = link + ".link";
  ::unlink(temporary.c_str());
  if (::symlink(target.c_str(), temporary.c_str()) != 0 || !changePlaces(temporary, link))
    TRACE(TR_ERROR, "link %s to %s: %s", link.c_str(), target.c_str(), errnoText(errno).c_str());
  else if (isPlainFile(temporary))
    // A job that keeps a plain log made it a moment ago.
    (void)std::rename(temporary.c_str(), newInstance(name).c_str());
  ::unlink(temporary.c_str());
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
  // Opened for every line: a log that is moved away or purged meanwhile is made again.
  UniqueFd fd = openLog(m_LogName);
  if (fd)
    return appendTo(std::move(fd), line);
  const int error = errno;
  // Without a free descriptor the line goes where the one before it went.
  if ((error == EMFILE || error == ENFILE) && m_spare && isThere(m_spare.get()) &&
      writeFully(m_spare.get(), line))
    return 0;
  TRACE(TR_ERROR, "Exit: %s, could not open %s.", NAME, m_LogName.c_str());
  return error;
}

int LogManager::appendTo(UniqueFd fd, std::string_view line) {
  std::string whole;
  // A line break first, or this line would end the one that a full disk cut off.
  if (m_mayBeCut && endsInACutLine(fd.get())) {
    whole.append("\n").append(line);
    line = whole;
  }
  int error = writeFully(fd.get(), line) ? 0 : errno;
  m_mayBeCut = error != 0;
  // Kept for the time when no descriptor is left: then the log is needed most.
  if (UniqueFd spare(::fcntl(fd.get(), F_DUPFD_CLOEXEC, 0)); spare)
    m_spare = std::move(spare);
  // A network filesystem may tell only now that the line did not get there.
  if (::close(fd.release()) != 0 && error == 0)
    error = errno;
  if (error != 0)
    TRACE(TR_ERROR, "write %s: %s", m_LogName.c_str(), errnoText(error).c_str());
  return error;
}

void LogManager::CloseLogFile() {
  const std::lock_guard guard(m_mutex);
  m_LogName.clear();
  m_spare.reset();
}

void LogManager::changeLog(const std::string& newPath) {
  const std::lock_guard guard(m_mutex);
  TRACE(TR_MAX, "Changing log from %s to %s", m_LogName.c_str(), newPath.c_str());
  m_LogName = newPath;
  m_spare.reset();
}

int LogManager::systemError() const {
  const std::lock_guard guard(m_mutex);
  return m_systemError;
}

std::string openActivityLog(const CmdArgs& args, const std::string& defaultPath) {
  TRACE_METHOD("openActivityLog(...)");
  if (args.maxNumLogs <= 0)
    return defaultPath;
  const LogName name(defaultPath);
  if (!makePath(name.directory)) {
    TRACE(TR_ERROR, "keep numbered logs in %s: %s", name.directory.c_str(),
          errnoText(errno).c_str());
    return defaultPath;
  }
  // Between two jobs that number the same log both would take one number.
  const LogLock lock(defaultPath);
  numberPlainLog(defaultPath, name);
  LogLimits limits = limitsOf(args);
  const std::string next = getNextLogName(name.directory, name.prefix, name.extension, limits);
  purgeLogFiles(getMatchingFilesMap(name.directory, name.prefix, name.extension), limits, false);
  pointLink(defaultPath, next, name);
  return name.directory + "/" + next;
}

}  // namespace orv
