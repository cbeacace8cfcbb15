#pragma once

#include <mutex>
#include <string>
#include <string_view>

#include "runtime/nls/MessageLog.h"

namespace orv {

// The writer of the activity log: every message becomes one line "date time.mmm message". The file
// is opened for each line, so that it may be replaced or removed at any time, and the line is
// appended by a single write, so that the lines of many processes stay whole. Usable from any
// thread; owned by the message log.
class LogManager final : public ActivityLogWriter {
 public:
  // LogActivityLog's code for a line that was not written.
  static constexpr int NOT_WRITTEN = 621;

  explicit LogManager(std::string path) : m_LogName(std::move(path)) {}

  // Appends the message; a line break is added unless it ends with one. The log and its directory
  // are created if they are missing. 0, or NOT_WRITTEN with the reason in `systemError`.
  int LogActivityLog(std::string_view message) override;

  // Ends the log: what comes after it is not written anywhere.
  void CloseLogFile();

  // Lets the following lines go to another file.
  void changeLog(const std::string& newPath);

  // errno of the last line that was not written; 0 before that.
  [[nodiscard]] int systemError() const;

 private:
  int append(std::string_view line);

  mutable std::mutex m_mutex;  // guards both fields and keeps lines in order
  std::string m_LogName;
  int m_systemError = 0;
};

}  // namespace orv
