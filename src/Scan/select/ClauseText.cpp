#include "Scan/select/ClauseText.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <functional>

#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

// An error is one line of a log, and the pattern in a clause may fill a screen.
constexpr std::size_t LONGEST_SHOWN = 40;

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}
bool isLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// Length of the longest start of `text` whose bytes are all of that kind.
template <typename Kind>
std::size_t runOf(std::string_view text, Kind kind) {
  return static_cast<std::size_t>(std::ranges::find_if_not(text, kind) - text.begin());
}

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

// How many characters begin in `text`, plus one: the position of what follows it.
std::size_t positionBehind(std::string_view text) {
  return static_cast<std::size_t>(std::ranges::count_if(text, startsCharacter)) + 1;
}

struct Unit {
  std::string_view letter;
  std::int64_t factor;
};

// clang-format off
constexpr Unit SIZE_UNITS[] = {
    {"K", 1LL << 10},
    {"M", 1LL << 20},
    {"G", 1LL << 30},
    {"T", 1LL << 40},
    {"",  1},
};
constexpr Unit AGE_UNITS[] = {
    {"s", 1},
    {"m", 60},
    {"h", 3600},
    {"d", 86400},
    {"w", 604800},
    {"y", 31557600},
};
// clang-format on

constexpr std::int64_t DAY = 86400;

constexpr const char* WHEN_EXPECTED =
    "an age such as 30d (units s m h d w y) or a date such as 2024-01-31 or 2024-01-31T12:00:00";
constexpr const char* DATE_EXPECTED = "a date that exists, YYYY-MM-DD or YYYY-MM-DDTHH:MM:SS";

// The number times the factor, when that fits.
std::optional<std::int64_t> product(std::string_view digits, std::int64_t factor) {
  std::int64_t number = 0;
  std::int64_t result = 0;
  const char* end = digits.data() + digits.size();
  if (std::from_chars(digits.data(), end, number).ec != std::errc{} ||
      __builtin_mul_overflow(number, factor, &result))
    return std::nullopt;
  return result;
}

// Number, unit and limits of a size or an age whose digits, read from offset `from`, are given.
template <std::size_t N>
std::optional<ClauseValue> withUnit(ClauseCursor& cursor, std::size_t from, std::string_view digits,
                                    Measure measure, const Unit (&units)[N],
                                    std::string_view expected) {
  const std::size_t unitAt = cursor.at();
  // All letters, not one: "30days" is a wrong unit and not an age with something behind it.
  const std::string_view letters = cursor.takeLetters();
  for (const Unit& unit : units) {
    if (!equalIgnoringCase(letters, unit.letter))
      continue;
    if (const auto value = product(digits, unit.factor))
      return ClauseValue{measure, {*value, *value}};
    cursor.fail(from, measure == Measure::AGE ? "an age of fewer than 2^63 seconds"
                                              : "a size of less than 8388608T");
    return std::nullopt;
  }
  cursor.fail(unitAt, expected);
  return std::nullopt;
}

// Steps over a two-digit number behind `separator`; -1 when it is not there.
int takeTwoDigits(ClauseCursor& cursor, std::string_view separator) {
  if (!cursor.take(separator))
    return -1;
  const std::string_view digits = cursor.takeDigits();
  return digits.size() == 2 ? (digits[0] - '0') * 10 + (digits[1] - '0') : -1;
}

// The rest of a date whose year was read from offset `from`.
std::optional<ClauseValue> restOfDate(ClauseCursor& cursor, std::size_t from,
                                      std::string_view year) {
  using namespace std::chrono;
  const int month = takeTwoDigits(cursor, "-");
  const int day = month < 0 ? -1 : takeTwoDigits(cursor, "-");
  // Four digits, no more and no less: "24-01-31" would be a date that nobody means.
  const auto number = year.size() == 4 ? product(year, 1) : std::nullopt;
  if (!number || day < 0) {
    cursor.fail(from, DATE_EXPECTED);
    return std::nullopt;
  }
  const year_month_day date{std::chrono::year{static_cast<int>(*number)},
                            std::chrono::month{static_cast<unsigned>(month)},
                            std::chrono::day{static_cast<unsigned>(day)}};
  std::int64_t time = 0;
  std::int64_t length = DAY;
  // A date alone means its whole day, one with a time that second.
  if (cursor.take("T") || cursor.take("t")) {
    const int hour = takeTwoDigits(cursor, "");
    const int minute = hour < 0 ? -1 : takeTwoDigits(cursor, ":");
    const int second = minute < 0 ? -1 : takeTwoDigits(cursor, ":");
    if (second < 0 || hour > 23 || minute > 59 || second > 59) {
      cursor.fail(from, DATE_EXPECTED);
      return std::nullopt;
    }
    time = hour * 3600 + minute * 60 + second;
    length = 1;
  }
  // The calendar decides: there is no 29 February in most years.
  if (!date.ok()) {
    cursor.fail(from, DATE_EXPECTED);
    return std::nullopt;
  }
  const std::int64_t start = sys_days(date).time_since_epoch().count() * DAY + time;
  return ClauseValue{Measure::TIME, {start, start + length - 1}};
}

}  // namespace

std::string shownInError(std::string_view text) {
  if (text.size() <= LONGEST_SHOWN)
    return '"' + withoutControlCharacters(text) + '"';
  std::size_t cut = LONGEST_SHOWN;
  // Not inside of a character: half of one is no text.
  while (cut > 1 && !startsCharacter(text[cut]))
    --cut;
  return '"' + withoutControlCharacters(text.substr(0, cut)) + "...\"";
}

bool ClauseCursor::take(std::string_view symbol) noexcept {
  if (!m_clause.substr(m_at).starts_with(symbol))
    return false;
  m_at += symbol.size();
  return true;
}

std::string_view ClauseCursor::takeLetters() noexcept {
  const std::size_t from = m_at;
  m_at += runOf(m_clause.substr(m_at), isLetter);
  return since(from);
}

std::string_view ClauseCursor::takeDigits() noexcept {
  const std::size_t from = m_at;
  m_at += runOf(m_clause.substr(m_at), isDigit);
  return since(from);
}

std::string_view ClauseCursor::takeUpTo(char end) noexcept {
  const std::size_t from = m_at;
  m_at = std::min(m_clause.find(end, m_at), m_clause.size());
  return since(from);
}

void ClauseCursor::fail(std::size_t where, std::string_view expected) {
  fail(where, foundAt(where), expected);
}

void ClauseCursor::fail(std::size_t where, std::string found, std::string_view expected) {
  // The first error is the one that people can mend; those behind it follow from it.
  if (failed())
    return;
  m_error = {positionBehind(m_clause.substr(0, where)), std::move(found), std::string(expected)};
}

std::string ClauseCursor::foundAt(std::size_t where) const {
  if (where >= m_clause.size())
    return "the end of the clause";
  const std::string_view rest = m_clause.substr(where);
  const std::size_t word = runOf(rest, [](char c) { return isLetter(c) || isDigit(c); });
  const std::size_t character = 1 + runOf(rest.substr(1), std::not_fn(startsCharacter));
  // What was taken for one value is shown as one, even if its parts are words and digits.
  const std::size_t read = m_at > where ? m_at - where : 0;
  return shownInError(rest.substr(0, std::max({word, character, read})));
}

std::size_t NormalizedClause::typedPosition(std::string_view typed, std::size_t position) const {
  // By characters on both sides: whoever looks for the place counts those, not bytes.
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
    // Behind the blanks: between quotes they are a fault, elsewhere they are dropped.
    inQuotes = inQuotes != (c == '\'');
    // A blank between any two bytes, which is how definitions hold a clause.
    if (!result.clause.empty())
      result.tokens += ' ';
    result.tokens += c;
    result.clause += c;
    result.origins.push_back(at);
  }
  // An error at the end of the clause has a place in the typed text, too.
  result.origins.push_back(typed.size());
  return result;
}

std::optional<ClauseValue> readSize(ClauseCursor& cursor) {
  const std::size_t from = cursor.at();
  const std::string_view digits = cursor.takeDigits();
  if (digits.empty()) {
    cursor.fail(from, "a size in bytes such as 4096 or 10M (units K M G T)");
    return std::nullopt;
  }
  return withUnit(cursor, from, digits, Measure::BYTES, SIZE_UNITS, "one of the units K M G T");
}

std::optional<ClauseValue> readWhen(ClauseCursor& cursor) {
  const std::size_t from = cursor.at();
  const std::string_view digits = cursor.takeDigits();
  if (digits.empty()) {
    cursor.fail(from, WHEN_EXPECTED);
    return std::nullopt;
  }
  // Only a date goes on so: an age has its unit there.
  if (cursor.peek() == '-')
    return restOfDate(cursor, from, digits);
  return withUnit(cursor, from, digits, Measure::AGE, AGE_UNITS,
                  "one of the units s m h d w y, or the \"-\" of a date");
}

std::optional<ClauseValue> readCount(ClauseCursor& cursor) {
  const std::size_t from = cursor.at();
  const std::string_view digits = cursor.takeDigits();
  if (const auto number = product(digits, 1))
    return ClauseValue{Measure::COUNT, {*number, *number}};
  cursor.fail(from, digits.empty() ? "a number" : "a number of less than 2^63");
  return std::nullopt;
}

}  // namespace orv
