#pragma once

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "runtime/nls/MessageLog.h"

namespace orv {

// The exception classes of the job.

// The definition reader's failure, thrown by value. The message is stored unformatted: further
// arguments are accepted and not used, which callers rely on for texts with a bare "%s".
struct ORVParserException final {
  template <typename... Unused>
  ORVParserException(int errorCode, std::string text, Unused&&...)
      : code(errorCode), message(std::move(text)) {}
  // What failed and why, in words for the log; where a message says that by itself it stays empty.
  ORVParserException& because(std::string why) {
    reason = std::move(why);
    return *this;
  }
  int code;
  std::string message;
  std::string reason;
};

// A definition object that cannot be built from its entity, thrown by value. The message, which
// names the entity, is its reader's to add.
struct OrvObjectCreationException final {
  explicit OrvObjectCreationException(int errorCode) : code(errorCode) {}
  int code;
  std::string message;
};

// Writing the result failed. Thrown by pointer; the driver deletes it.
struct ORVIOException final {
  explicit ORVIOException(std::string text) : message(std::move(text)) {}
  std::string message;
};

// The scan was stopped. Thrown by pointer; the driver deletes it.
struct ScanAbortException final {
  explicit ScanAbortException(std::string text) : message(std::move(text)) {}
  std::string message;
};

// A failure in one directory; the walk turns it into return code 4. Thrown by value.
class LocalizableException : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A failure that carries the message to log for it. Thrown by pointer; its catcher deletes it.
class GenericException final {
 public:
  GenericException(const Message& message, std::vector<Insert> inserts)
      : m_message(message), m_inserts(std::move(inserts)) {}

  [[nodiscard]] int number() const noexcept { return m_message.number; }
  [[nodiscard]] const char* id() const noexcept { return m_message.id; }
  [[nodiscard]] const Message& message() const noexcept { return m_message; }
  [[nodiscard]] const std::vector<Insert>& inserts() const noexcept { return m_inserts; }

  // The first insert, which names what failed; empty without inserts.
  [[nodiscard]] std::string subject() const {
    return m_inserts.empty() ? std::string() : m_inserts.front().text();
  }

 private:
  Message m_message;
  std::vector<Insert> m_inserts;
};

}  // namespace orv
