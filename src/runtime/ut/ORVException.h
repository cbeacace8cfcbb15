#pragma once

#include <stdexcept>
#include <string>
#include <utility>

// The plain exception classes of the job. GenericException has a file of its own.
namespace orv {

// The definition reader's failure, thrown by value. The message is stored unformatted: further
// arguments are accepted and not used, which callers rely on for texts with a bare "%s".
struct ORVParserException final {
  template <typename... Unused>
  ORVParserException(int errorCode, std::string text, Unused&&...)
      : code(errorCode), message(std::move(text)) {}
  int code;
  std::string message;
};

// A definition object that cannot be built from its entity, thrown by value.
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

}  // namespace orv
