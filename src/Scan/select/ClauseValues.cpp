#include "Scan/select/ClauseValues.h"

#include <charconv>
#include <chrono>
#include <string>

#include "runtime/ut/Text.h"

namespace orv {

namespace {

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
  if (!date.ok()) {
    cursor.fail(from, DATE_EXPECTED);
    return std::nullopt;
  }
  const std::int64_t start = sys_days(date).time_since_epoch().count() * DAY + time;
  return ClauseValue{Measure::TIME, {start, start + length - 1}};
}

}  // namespace

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
