#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace re2 {
class RE2;
}

namespace orv {

// A compiled POSIX basic regular expression that looks at bytes, whatever the locale of the
// process: names from a filesystem need not be valid in any encoding, and "[^/]" has to match each
// of their bytes. Whoever makes names in a scanned tree does not decide what a match costs: its
// time is linear in the text, and its memory bounded, whatever the expression. Owned by the pattern
// that uses it; matching may be done by any thread.
class BasicRegex final {
 public:
  ~BasicRegex();
  BasicRegex(const BasicRegex&) = delete;
  BasicRegex& operator=(const BasicRegex&) = delete;

  // Compiles `expression`, which holds no NUL, an anchor "^" in front only, "$" at the end only and
  // no ".": what globs become. Null when the C library takes it for no valid expression, or when no
  // linear match of it exists: one with back references, or with "\<" and "\>". `error` then holds
  // the reason.
  [[nodiscard]] static std::unique_ptr<BasicRegex> compile(const std::string& expression,
                                                           std::string& error);

  // Whether the expression matches within `text`.
  [[nodiscard]] bool matches(std::string_view text) const;

 private:
  explicit BasicRegex(std::unique_ptr<const re2::RE2> regex) noexcept;

  std::unique_ptr<const re2::RE2> m_regex;
};

}  // namespace orv
