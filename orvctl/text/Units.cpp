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

std::string elapsedText(double seconds) {
  const auto whole = static_cast<std::int64_t>(seconds);
  if (whole < 60)
    return fmt::format("{:.1f} s", seconds);
  if (whole < 3600)
    return fmt::format("{} min {} s", whole / 60, whole % 60);
  return fmt::format("{} h {} min", whole / 3600, whole % 3600 / 60);
}

}  // namespace orv::ctl
