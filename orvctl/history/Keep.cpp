#include "orvctl/history/Keep.h"

#include <fmt/format.h>

#include <array>
#include <charconv>
#include <ctime>
#include <optional>
#include <string_view>

#include "orvctl/text/CtlError.h"
#include "orvctl/text/DisplayText.h"

namespace orv::ctl {
namespace {

constexpr std::int64_t HOUR = 3'600'000;
constexpr std::int64_t DAY = 24 * HOUR;
// So that a period is counted in milliseconds without overflow.
constexpr std::int64_t MAX_AMOUNT = 100'000;

struct Unit {
  char letter;
  std::int64_t milliseconds;
};
constexpr std::array<Unit, 5> UNITS = {
    {{'h', HOUR}, {'d', DAY}, {'w', 7 * DAY}, {'m', 30 * DAY}, {'y', 365 * DAY}}};

struct Calendar {
  std::string_view prefix;
  const char* format;
};
constexpr std::array<Calendar, 3> CALENDARS = {
    {{"daily:", "%Y-%m-%d"}, {"weekly:", "%G-%V"}, {"monthly:", "%Y-%m"}}};

std::optional<std::int64_t> amountIn(std::string_view text) {
  std::int64_t amount = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), amount);
  if (error != std::errc() || end != text.data() + text.size() || amount < 1 || amount > MAX_AMOUNT)
    return std::nullopt;
  return amount;
}

std::optional<std::int64_t> periodIn(std::string_view typed) {
  for (const Unit& unit : UNITS)
    if (typed.ends_with(unit.letter))
      if (const auto amount = amountIn(typed.substr(0, typed.size() - 1)))
        return *amount * unit.milliseconds;
  return std::nullopt;
}

std::string calendarText(std::int64_t time, const char* format) {
  const std::time_t seconds = time / 1000;
  std::tm local{};
  char text[32];
  if (::localtime_r(&seconds, &local) == nullptr)
    return {};
  return std::string(text, std::strftime(text, sizeof text, format, &local));
}

void keepByCalendar(std::span<const std::int64_t> newestFirst, const KeepRule& rule,
                    std::vector<bool>& result) {
  std::string last;
  std::int64_t left = rule.amount;
  for (std::size_t i = 0; i < newestFirst.size() && left > 0; ++i) {
    std::string text = calendarText(newestFirst[i], rule.format);
    if (i > 0 && text == last)
      continue;
    result[i] = true;
    last = std::move(text);
    --left;
  }
}

}  // namespace

std::int64_t periodOf(const std::string& typed) {
  if (const auto period = periodIn(typed))
    return *period;
  throw CtlError(fmt::format("{} is no period, as 12h, 7d, 4w, 6m or 2y", printable(typed)),
                 EXIT_USAGE);
}

KeepRule keepRuleOf(const std::string& typed) {
  if (const auto count = amountIn(typed))
    return {KeepRule::Kind::NEWEST, *count};
  if (const auto period = periodIn(typed))
    return {KeepRule::Kind::PERIOD, *period};
  for (const Calendar& calendar : CALENDARS)
    if (typed.starts_with(calendar.prefix))
      if (const auto amount = amountIn(std::string_view(typed).substr(calendar.prefix.size())))
        return {KeepRule::Kind::CALENDAR, *amount, calendar.format};
  throw CtlError(
      fmt::format("{} is no rule, as 30, 90d, daily:14, weekly:8 or monthly:24", printable(typed)),
      EXIT_USAGE);
}

std::vector<bool> kept(std::span<const std::int64_t> newestFirst, std::span<const KeepRule> rules,
                       std::int64_t now) {
  std::vector<bool> result(newestFirst.size());
  if (!result.empty())
    result.front() = true;
  for (const KeepRule& rule : rules) {
    if (rule.kind == KeepRule::Kind::CALENDAR)
      keepByCalendar(newestFirst, rule, result);
    else
      for (std::size_t i = 0; i < result.size(); ++i)
        if (rule.kind == KeepRule::Kind::NEWEST ? static_cast<std::int64_t>(i) < rule.amount
                                                : now - newestFirst[i] <= rule.amount)
          result[i] = true;
  }
  return result;
}

}  // namespace orv::ctl
