#include "orvctl/text/Units.h"

#include <fmt/format.h>

#include <array>
#include <cmath>
#include <ctime>

namespace orv::ctl {
namespace {

std::string localTime(std::int64_t milliseconds, const char* format) {
  // Rounded down, also before 1970.
  const std::time_t seconds = milliseconds / 1000 - (milliseconds % 1000 < 0 ? 1 : 0);
  std::tm local{};
  if (::localtime_r(&seconds, &local) == nullptr || local.tm_year > 9999 - 1900)
    return fmt::format("{} s", seconds);
  char text[32];
  return std::string(text, std::strftime(text, sizeof text, format, &local));
}

}  // namespace

std::string sizeText(std::int64_t bytes) {
  static constexpr std::array<const char*, 7> UNITS = {"B",   "KiB", "MiB", "GiB",
                                                       "TiB", "PiB", "EiB"};
  auto value = static_cast<double>(bytes);
  std::size_t unit = 0;
  // 1023.95 would print as 1024.0 of the smaller unit.
  while (unit + 1 < UNITS.size() && std::fabs(value) >= (unit == 0 ? 1024.0 : 1023.95)) {
    value /= 1024.0;
    ++unit;
  }
  return unit == 0 ? fmt::format("{} B", bytes) : fmt::format("{:.1f} {}", value, UNITS[unit]);
}

std::string countText(std::int64_t count) {
  std::string text = std::to_string(count);
  const std::size_t first = count < 0 ? 1 : 0;
  for (std::size_t at = text.size(); at > first + 3;)
    text.insert(at -= 3, 1, ',');
  return text;
}

std::string shareText(double part, double whole) {
  return whole > 0 ? fmt::format("{:.1f}%", 100.0 * part / whole) : "-";
}

std::string timeText(std::int64_t milliseconds) {
  return localTime(milliseconds, "%Y-%m-%d %H:%M");
}

std::string dateText(std::int64_t milliseconds) {
  return localTime(milliseconds, "%Y-%m-%d");
}

std::string ageText(std::int64_t seconds) {
  struct Unit {
    double seconds;
    const char* name;
  };
  static constexpr std::array<Unit, 4> UNITS = {
      {{31557600, "years"}, {86400, "days"}, {3600, "hours"}, {60, "minutes"}}};
  for (const Unit& unit : UNITS)
    if (std::fabs(static_cast<double>(seconds)) >= unit.seconds)
      return fmt::format("{:.1f} {}", static_cast<double>(seconds) / unit.seconds, unit.name);
  return fmt::format("{} seconds", seconds);
}

std::string numberOf(std::int64_t count, const std::string& singular) {
  std::string noun = singular;
  if (count != 1 && noun.ends_with('y') && !noun.ends_with("ay"))
    noun.replace(noun.size() - 1, 1, "ies");
  else if (count != 1)
    noun += 's';
  return countText(count) + " " + noun;
}

std::string filesText(std::int64_t count) {
  return count == 1 ? "1 file or link" : countText(count) + " files and links";
}

namespace {

// A size that is a whole number of its unit, as the bounds of classes are.
std::string boundText(std::int64_t bytes) {
  static constexpr std::array<const char*, 5> UNITS = {"B", "KiB", "MiB", "GiB", "TiB"};
  std::size_t unit = 0;
  for (; unit + 1 < UNITS.size() && bytes >= 1024 && bytes % 1024 == 0; ++unit)
    bytes /= 1024;
  return fmt::format("{} {}", bytes, UNITS[unit]);
}

}  // namespace

std::string sizeRangeText(std::int64_t from, std::optional<std::int64_t> to) {
  // From a kilobyte on nobody minds the one byte by which a class begins behind the last one.
  const std::int64_t shown = from > 1024 ? from - 1 : from;
  if (!to)
    return "above " + boundText(shown);
  if (from == 0)
    return "up to " + boundText(*to);
  const std::string begin = boundText(shown);
  const std::string end = boundText(*to);
  const std::size_t blank = begin.find(' ');
  const bool sameUnit = begin.substr(blank) == end.substr(end.find(' '));
  return (sameUnit ? begin.substr(0, blank) : begin) + " - " + end;
}

std::string ageRangeText(std::optional<std::int64_t> from, std::optional<std::int64_t> to) {
  if (!from)
    return "in the future";
  if (!to)
    return "above " + ageLimitText(*from);
  if (*from <= 0)
    return "up to " + ageLimitText(*to);
  return fmt::format("{} - {} days", *from / 86400, *to / 86400);
}

std::string ageLimitText(std::int64_t seconds) {
  static constexpr std::array<std::pair<std::int64_t, const char*>, 5> UNITS = {
      {{31557600, "year"}, {86400, "day"}, {3600, "hour"}, {60, "minute"}, {1, "second"}}};
  for (const auto& [unit, name] : UNITS)
    if (seconds % unit == 0)
      return numberOf(seconds / unit, name);
  return numberOf(seconds, "second");
}

std::string elapsedText(double seconds) {
  const auto whole = static_cast<std::int64_t>(seconds);
  if (seconds < 0.1)
    return fmt::format("{:.0f} ms", seconds * 1000);
  if (whole < 60)
    return fmt::format("{:.1f} s", seconds);
  if (whole < 3600)
    return fmt::format("{} min {} s", whole / 60, whole % 60);
  return fmt::format("{} h {} min", whole / 3600, whole % 3600 / 60);
}

}  // namespace orv::ctl
