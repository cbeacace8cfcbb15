#pragma once

#include <stdexcept>
#include <string>

namespace orv::ctl {

// Exit codes of orvctl's own. A scan that ran hands on the scan's code instead (see Commands.h).
inline constexpr int EXIT_FAILED = 1;
inline constexpr int EXIT_USAGE = 2;

// Ends the command with one line on standard error: "orvctl: <text>". The text says what was being
// done, to what, and why it failed: "cannot scan /x: Permission denied". Thrown by value.
class CtlError final : public std::runtime_error {
 public:
  explicit CtlError(const std::string& text, int exitCode = EXIT_FAILED)
      : std::runtime_error(text), m_exitCode(exitCode) {}
  [[nodiscard]] int exitCode() const noexcept { return m_exitCode; }

 private:
  int m_exitCode;
};

}  // namespace orv::ctl
