#pragma once

#include <nl_types.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/nls/Messages.h"

namespace orv {

// The message catalog of a component, opened with catopen and closed with the object. Owned by the
// driver, read by the message log on the job's thread.
class MessageCatalog final {
 public:
  MessageCatalog() = default;
  ~MessageCatalog() { close(); }
  MessageCatalog(const MessageCatalog&) = delete;
  MessageCatalog& operator=(const MessageCatalog&) = delete;

  // Opens `<directory>/<file>` for `component` (which only the trace names). False with errno when
  // there is no such catalog.
  [[nodiscard]] bool open(const std::string& directory, const std::string& file,
                          const std::string& component);
  void close() noexcept;

  // The text of message `number` (set 1); empty when the catalog is closed or lacks it.
  [[nodiscard]] std::string text(int number) const;

 private:
  bool m_isOpen = false;
  nl_catd m_catalog{};
};

// Longest insert of a message, in characters; what is longer is cut.
inline constexpr std::size_t MAX_INSERT_LENGTH = 4604;

// What an empty insert is written as.
inline constexpr const char* NULL_INSERT = "<NULL>";

// A value put into a message's text. Built from a name or any other text, control characters are
// shown as \xNN, so that no file name can forge a log line; `lines` keeps the line breaks of a text
// that the job composed itself (of parts that went through `withoutControlCharacters`).
class Insert final {
 public:
  Insert(std::string_view text);  // NOLINT: implicit, so that call sites list plain values
  Insert(const std::string& text) : Insert(std::string_view(text)) {}  // NOLINT: implicit
  Insert(const char* text) : Insert(std::string_view(text)) {}         // NOLINT: implicit
  [[nodiscard]] static Insert lines(std::string_view text);
  [[nodiscard]] const std::string& text() const noexcept { return m_text; }

 private:
  Insert() = default;
  std::string m_text;
};

// Where finished log lines go. Implemented by the activity log.
class ActivityLogWriter {
 public:
  virtual ~ActivityLogWriter() = default;
  ActivityLogWriter() = default;
  ActivityLogWriter(const ActivityLogWriter&) = delete;
  ActivityLogWriter& operator=(const ActivityLogWriter&) = delete;
  // Appends one line; 0, or a nonzero code when it could not be written.
  virtual int LogActivityLog(std::string_view message) = 0;
  // errno of the last line that could not be written; 0 without one.
  [[nodiscard]] virtual int systemError() const { return 0; }
};

// The message log: turns a message and its inserts into one line of the activity log. Owned by the
// driver, which makes it known process-wide as `naLog`; used on the job's thread.
class MessageLog final {
 public:
  // `catalog` must outlive the log.
  MessageLog(const MessageCatalog& catalog, std::unique_ptr<ActivityLogWriter> writer);
  ~MessageLog();
  MessageLog(const MessageLog&) = delete;
  MessageLog& operator=(const MessageLog&) = delete;

  // Writes "<id> <text>" with the inserts in the text's "{}" places. A text that is missing from
  // the catalog, or has other places than inserts, is replaced by the inserts themselves.
  void issue(const Message& message, const std::vector<Insert>& inserts = {});

  // Writes a line that the log of another process of the same scan made.
  void repeat(const std::string& line);

  // The line that `issue` would write.
  [[nodiscard]] std::string format(const Message& message,
                                   const std::vector<Insert>& inserts = {}) const;

  // The catalog text of a message as it stands; empty when the catalog lacks it.
  [[nodiscard]] std::string text(const Message& message) const;

  // Whether a warning or an error could not be written: the log then says less than it should. The
  // first of them went to standard error instead.
  [[nodiscard]] bool hasLostWarnings() const noexcept { return m_hasLostWarnings; }

 private:
  void write(const std::string& line);
  void noteLost(const std::string& line);

  const MessageCatalog& m_catalog;
  std::unique_ptr<ActivityLogWriter> m_writer;
  bool m_hasLostWarnings = false;
};

// The process-wide message log; null while no log is open. Set by MessageLog's own life.
extern MessageLog* naLog;

// Issues through `naLog` when a log is open; else does nothing.
void issueMessage(const Message& message, const std::vector<Insert>& inserts = {});

}  // namespace orv
