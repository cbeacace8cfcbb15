#include "Scan/select/BasicRegex.h"

#include <locale.h>
#include <re2/re2.h>
#include <regex.h>

#include "Scan/select/RegexTranslation.h"
#include "runtime/ut/Trace.h"

namespace orv {

namespace {

// The calling thread works in the "C" locale while this lives. The library settles at compile time
// whether an expression looks at bytes or at characters; in a UTF-8 locale "[^/]" would refuse the
// bytes of a name that is not valid UTF-8.
class ByteLocale final {
 public:
  ByteLocale() : m_previous(::uselocale(bytes())) {}
  ~ByteLocale() { ::uselocale(m_previous); }
  ByteLocale(const ByteLocale&) = delete;
  ByteLocale& operator=(const ByteLocale&) = delete;

 private:
  static locale_t bytes() {
    static const locale_t locale = ::newlocale(LC_ALL_MASK, "C", nullptr);
    return locale;
  }
  locale_t m_previous;
};

// Why the C library does not take the expression; empty when it does.
std::string refusal(const std::string& expression) {
  regex_t regex;
  const int code = ::regcomp(&regex, expression.c_str(), REG_NOSUB);
  if (code == 0) {
    ::regfree(&regex);
    return {};
  }
  std::string text(::regerror(code, &regex, nullptr, 0), '\0');
  ::regerror(code, &regex, text.data(), text.size());
  text.pop_back();  // the terminating NUL
  return text;
}

re2::RE2::Options byteOptions() {
  re2::RE2::Options options(re2::RE2::Latin1);
  options.set_never_capture(true);
  options.set_log_errors(false);
  return options;
}

}  // namespace

BasicRegex::BasicRegex(std::unique_ptr<const re2::RE2> regex) noexcept
    : m_regex(std::move(regex)) {}

BasicRegex::~BasicRegex() = default;

std::unique_ptr<BasicRegex> BasicRegex::compile(const std::string& expression, std::string& error) {
  TRACE_METHOD("BasicRegex::compile(...)");
  const ByteLocale bytes;
  std::unique_ptr<const re2::RE2> regex;
  error = refusal(expression);
  if (error.empty())
    if (const std::string translated = RegexTranslation(expression).run(error); error.empty()) {
      regex = std::make_unique<const re2::RE2>(translated, byteOptions());
      error = regex->error();
    }
  if (error.empty())
    return std::unique_ptr<BasicRegex>(new BasicRegex(std::move(regex)));
  TRACE(TR_MAX, "compile %s: %s", expression.c_str(), error.c_str());
  return nullptr;
}

bool BasicRegex::matches(std::string_view text) const {
  return m_regex->Match({text.data(), text.size()}, 0, text.size(), re2::RE2::UNANCHORED, nullptr,
                        0);
}

}  // namespace orv
