#include "Common/LogManager.h"

#include <fcntl.h>

#include <cerrno>

#include "runtime/unx/Files.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/TimeText.h"
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

}  // namespace orv
