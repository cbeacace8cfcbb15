#pragma once

#include <regex.h>

#include <memory>
#include <string>
#include <string_view>

namespace orv {

// A compiled POSIX basic regular expression that looks at bytes, whatever the locale of the
// process: names from a filesystem need not be valid in any encoding, and "[^/]" has to match each
// of their bytes. Owned by the pattern that uses it; matching is const and may be done by any
// thread.
class BasicRegex final {
 public:
  // Compiles `expression`, which holds no NUL. Null when it is no valid expression; `error` then
  // holds the library's reason.
  [[nodiscard]] static std::unique_ptr<BasicRegex> compile(const std::string& expression,
                                                           std::string& error);

  // Whether the expression matches within `text`. A text that cannot be decided for want of memory
  // does not match, and is traced.
  [[nodiscard]] bool matches(std::string_view text) const;

 private:
  struct Free {
    void operator()(regex_t* regex) const noexcept;
  };
  explicit BasicRegex(std::unique_ptr<regex_t, Free> regex) noexcept : m_regex(std::move(regex)) {}

  std::unique_ptr<regex_t, Free> m_regex;
};

}  // namespace orv
