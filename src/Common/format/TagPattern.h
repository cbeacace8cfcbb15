#pragma once

#include <new>
#include <string_view>

// PCRE's wrapper where the system has it. The releases that came after it left it out have the
// library that took over its interface.
#ifdef ORV_HAVE_PCRECPP
#include <pcrecpp.h>
#else
#include <re2/re2.h>
#endif

namespace orv {

// A pattern that matches a whole line and gives its groups as strings. Made once and never changed,
// it may be used by any thread.
class TagPattern final {
 public:
  // Throws std::bad_alloc when the pattern cannot be compiled: it must not pass for "no match".
  explicit TagPattern(const char* expression) : m_pattern(expression, options()) {
    if (!m_pattern.error().empty())
      throw std::bad_alloc();
  }

  // Sets as many groups as there are pointers to strings.
  template <typename... Groups>
  [[nodiscard]] bool matches(std::string_view line, Groups*... groups) const {
#ifdef ORV_HAVE_PCRECPP
    return m_pattern.FullMatch(pcrecpp::StringPiece(line.data(), static_cast<int>(line.size())),
                               groups...);
#else
    return RE2::FullMatch({line.data(), line.size()}, m_pattern, groups...);
#endif
  }

 private:
#ifdef ORV_HAVE_PCRECPP
  static pcrecpp::RE_Options options() {
    return {};
  }
  pcrecpp::RE m_pattern;
#else
  // Lines are bytes, whatever they mean.
  static RE2::CannedOptions options() {
    return RE2::Latin1;
  }
  RE2 m_pattern;
#endif
};

}  // namespace orv
