#include "Scan/select/BasicRegex.h"

#include <locale.h>

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

std::string reasonOf(int code, const regex_t& regex) {
  std::string text(::regerror(code, &regex, nullptr, 0), '\0');
  ::regerror(code, &regex, text.data(), text.size());
  text.pop_back();  // the terminating NUL
  return text;
}

}  // namespace

void BasicRegex::Free::operator()(regex_t* regex) const noexcept {
  ::regfree(regex);
  delete regex;
}

std::unique_ptr<BasicRegex> BasicRegex::compile(const std::string& expression, std::string& error) {
  TRACE_METHOD("BasicRegex::compile(...)");
  const ByteLocale bytes;
  auto regex = std::make_unique<regex_t>();
  if (const int code = ::regcomp(regex.get(), expression.c_str(), REG_NOSUB); code != 0) {
    error = reasonOf(code, *regex);
    TRACE(TR_MAX, "regcomp %s: %s", expression.c_str(), error.c_str());
    return nullptr;
  }
  std::unique_ptr<regex_t, Free> compiled(regex.release());
  return std::unique_ptr<BasicRegex>(new BasicRegex(std::move(compiled)));
}

bool BasicRegex::matches(std::string_view text) const {
  // The bounds are handed over with the text, so that a part of a path is matched in place.
  regmatch_t bounds{0, static_cast<regoff_t>(text.size())};
  const int code = ::regexec(m_regex.get(), text.data(), 1, &bounds, REG_STARTEND);
  if (code != 0 && code != REG_NOMATCH)
    TRACE(TR_ERROR, "regexec: code %d on a text of %zu bytes; taken as no match", code,
          text.size());
  return code == 0;
}

}  // namespace orv
