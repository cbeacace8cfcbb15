#pragma once

#include <mutex>
#include <string>
#include <string_view>

#include "runtime/nls/MessageLog.h"
#include "runtime/ut/UniqueFd.h"

namespace orv {

// The writer of the activity log: every message becomes one line "date time.mmm message". The file
// is opened for each line, so that it may be replaced or removed at any time, and the line is
// appended by a single write, so that the lines of many processes stay whole. A line that something
// cut before, such as a full disk, is ended first. Usable from any thread; owned by the message
// log.
//
// A job that runs out of descriptors must still be able to say so: a spare one on the log is kept
// from line to line, and used when no other can be had.
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
  [[nodiscard]] int systemError() const override;

 private:
  int append(std::string_view line);
  int appendTo(UniqueFd fd, std::string_view line);

  mutable std::mutex m_mutex;  // guards the fields and keeps lines in order
  UniqueFd m_spare;            // on the file that the last line went to
  bool m_mayBeCut = true;      // by an earlier job, or this one's last line
  std::string m_LogName;
  int m_systemError = 0;
};

}  // namespace orv
