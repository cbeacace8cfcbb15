#include "Scan/select/BasicRegex.h"

#include <locale.h>
#include <re2/re2.h>
#include <regex.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <new>
#include <utility>
#include <vector>

#include "Scan/select/Glob.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

// Writes a basic regular expression, as the C library reads it, in the syntax of the matcher. Lives
// on the stack of one compilation, in the "C" locale.
class RegexTranslation final {
 public:
  // `expression` is one that the library compiles; see BasicRegex::compile.
  explicit RegexTranslation(std::string_view expression) : m_expression(expression) {}

  // The expression in the other syntax; `error` is the reason why there is none.
  [[nodiscard]] std::string run(std::string& error);

 private:
  void token();
  void escape(char c);
  void openGroup();
  void closeGroup();
  void anchor(std::string_view text);
  void bracket();
  void interval();
  void atom(std::string_view text);
  void literal(char c);
  // `sign` repeats what is in front of it; where nothing is, it stands for `itself`.
  void repeat(std::string_view sign, char itself);

  static constexpr std::size_t NONE = std::string::npos;

  std::string_view m_expression;
  std::size_t m_at = 0;
  std::string m_result;
  std::string m_error;
  std::size_t m_atom = NONE;          // where in the result begins what can be repeated
  std::vector<std::size_t> m_groups;  // where those begin that are open
  std::map<std::string_view, std::string> m_classes;  // of the brackets met so far
};

std::string hex(unsigned char byte) {
  return formatText("\\x%02x", byte);
}

// The bytes that a bracket expression admits, as a class of the matcher. The C library is asked
// for each: so the class is what it takes the bracket for.
std::string classOf(std::string_view bracket) {
  regex_t regex;
  // It compiled as a part of the whole: only memory can be missing.
  if (::regcomp(&regex, std::string(bracket).c_str(), REG_NOSUB) != 0)
    throw std::bad_alloc();
  const std::unique_ptr<regex_t, decltype(&::regfree)> freed(&regex, ::regfree);
  std::string members;
  int first = -1;
  for (int byte = 1; byte <= 256; ++byte) {
    // Terminated: a sanitizer looks for the end in spite of the bounds.
    const char text[] = {static_cast<char>(byte), '\0'};
    regmatch_t bounds{0, 1};
    const int answer = byte < 256 ? ::regexec(&regex, text, 1, &bounds, REG_STARTEND) : REG_NOMATCH;
    if (answer == REG_ESPACE)
      throw std::bad_alloc();  // not to be taken for a byte that is no member
    const bool isMember = answer == 0;
    if (isMember && first < 0)
      first = byte;
    if (!isMember && first >= 0) {
      members +=
          hex(static_cast<unsigned char>(first)) + "-" + hex(static_cast<unsigned char>(byte - 1));
      first = -1;
    }
  }
  return members.empty() ? R"([^\x00-\xff])" : "[" + members + "]";
}

// Escapes that stand for one byte of a set, and for a place, with the matcher's words for them.
// clang-format off
constexpr std::pair<char, std::string_view> SETS[] = {
    {'w', R"(\w)"}, {'W', R"(\W)"}, {'s', "[[:space:]]"}, {'S', "[^[:space:]]"},
};
constexpr std::pair<char, std::string_view> PLACES[] = {
    {'b', R"(\b)"}, {'B', R"(\B)"}, {'`', R"(\A)"}, {'\'', R"(\z)"},
};
// clang-format on

template <std::size_t N>
std::string_view textOf(char c, const std::pair<char, std::string_view> (&rows)[N]) {
  const auto* row = std::ranges::find(rows, c, &std::pair<char, std::string_view>::first);
  return row == std::end(rows) ? std::string_view() : row->second;
}

std::string RegexTranslation::run(std::string& error) {
  while (m_at < m_expression.size() && m_error.empty())
    token();
  error = m_error;
  return std::move(m_result);
}

void RegexTranslation::token() {
  const char c = m_expression[m_at];
  if (c == '[')
    return bracket();
  ++m_at;
  if (c == '\\' && m_at < m_expression.size())
    escape(m_expression[m_at++]);
  else if (c == '^' && m_at == 1)
    anchor(R"(\A)");
  else if (c == '$' && m_at == m_expression.size())
    anchor(R"(\z)");
  else if (c == '*')
    repeat("*", '*');
  else
    literal(c);
}

void RegexTranslation::escape(char c) {
  if (c == '(')
    openGroup();
  else if (c == ')')
    closeGroup();
  else if (c == '{')
    interval();
  else if (c == '|')
    anchor("|");
  else if (c == '+' || c == '?')
    repeat({&c, 1}, c);
  else if (c >= '1' && c <= '9')
    m_error = "it refers back to a group (&" + std::string(1, c) + ")";
  else if (c == '<' || c == '>')
    m_error = "it looks for the ends of words (&" + std::string(1, c) + ")";
  else if (const auto set = textOf(c, SETS); !set.empty())
    atom(set);
  else if (const auto place = textOf(c, PLACES); !place.empty())
    anchor(place);
  else
    literal(c);
}

void RegexTranslation::openGroup() {
  m_groups.push_back(m_result.size());
  anchor("(?:");
}

void RegexTranslation::closeGroup() {
  m_result += ')';
  m_atom = m_groups.back();
  m_groups.pop_back();
}

// A place, the start of a group or of an alternative: nothing that could be repeated.
void RegexTranslation::anchor(std::string_view text) {
  m_result += text;
  m_atom = NONE;
}

void RegexTranslation::bracket() {
  const std::string_view text = m_expression.substr(m_at, bracketLength(m_expression.substr(m_at)));
  m_at += text.size();
  std::string& known = m_classes[text];
  if (known.empty())
    known = classOf(text);
  atom(known);
}

// The digits up to the closing "\}": "n", "n,", "n,m" or ",m". The library takes "\," for a comma.
void RegexTranslation::interval() {
  const std::size_t end = m_expression.find("\\}", m_at);
  std::string sign(m_expression.substr(m_at, end - m_at));
  std::erase(sign, '\\');
  if (sign.starts_with(','))
    sign.insert(0, 1, '0');
  m_at = end + 2;
  repeat("{" + sign + "}", '{');
}

void RegexTranslation::atom(std::string_view text) {
  m_atom = m_result.size();
  m_result += text;
}

void RegexTranslation::literal(char c) {
  atom(hex(static_cast<unsigned char>(c)));
}

void RegexTranslation::repeat(std::string_view sign, char itself) {
  if (m_atom == NONE)
    return literal(itself);
  m_result.insert(m_atom, "(?:").append(")").append(sign);
}

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
  // The reason goes into a message of the job's, not onto standard error.
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
