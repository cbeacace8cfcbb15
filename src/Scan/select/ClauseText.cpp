#include "Scan/select/ClauseText.h"

#include <algorithm>

#include "runtime/ut/Trace.h"

namespace orv {

namespace {

constexpr std::string_view BLANKS = " \t\n\r\f\v";

// What the definition file cannot carry, and how to do without.
struct Refused {
  char c;
  const char* found;
  const char* inQuotes;
  const char* outside;  // null: a blank, which is dropped there
};

// clang-format off
constexpr Refused REFUSED[] = {
    {',',  "a comma", "no comma between quotes (in a pattern, \"?\" or \"*\" can stand for it)",
           "no comma (tests are joined by \"&\" or \"|\")"},
    {' ',  "a blank", "no blank between quotes (in a pattern, \"?\" or \"*\" can stand for it)",
           nullptr},
    {'\n', "a line break",
           "no line break between quotes (in a pattern, \"?\" or \"*\" can stand for it)", nullptr},
    {'\0', "a NUL byte", "no NUL byte", "no NUL byte"},
};
// clang-format on

bool startsCharacter(char c) {
  return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U;
}

// How many characters begin in `text`, plus one: the position of what follows it.
std::size_t positionBehind(std::string_view text) {
  return static_cast<std::size_t>(std::ranges::count_if(text, startsCharacter)) + 1;
}

}  // namespace

std::size_t NormalizedClause::typedPosition(std::string_view typed, std::size_t position) const {
  std::size_t at = 0;
  for (std::size_t seen = 0; at < clause.size(); ++at)
    if (startsCharacter(clause[at]) && ++seen == position)
      break;
  return positionBehind(typed.substr(0, origins[at]));
}

NormalizedClause normalizeClause(std::string_view typed) {
  TRACE_METHOD("normalizeClause(...)");
  NormalizedClause result;
  bool inQuotes = false;
  for (std::size_t at = 0; at < typed.size(); ++at) {
    const char c = typed[at];
    const auto* refused = std::ranges::find(REFUSED, c, &Refused::c);
    const bool listed = refused != std::end(REFUSED);
    const char* expected = !listed ? nullptr : inQuotes ? refused->inQuotes : refused->outside;
    if (expected != nullptr) {
      result.error = {positionBehind(typed.substr(0, at)), refused->found, expected};
      return result;
    }
    if (!inQuotes && BLANKS.find(c) != std::string_view::npos)
      continue;
    inQuotes = inQuotes != (c == '\'');
    if (!result.clause.empty())
      result.tokens += ' ';
    result.tokens += c;
    result.clause += c;
    result.origins.push_back(at);
  }
  result.origins.push_back(typed.size());
  return result;
}

}  // namespace orv
