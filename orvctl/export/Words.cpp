#include "orvctl/export/Words.h"

#include <fmt/format.h>

#include <array>
#include <ctime>

namespace orv::ctl {
namespace {

template <std::size_t SIZE, typename Kind>
std::string_view at(const std::array<std::string_view, SIZE>& words, Kind kind) noexcept {
  return words[static_cast<std::size_t>(kind)];
}

}  // namespace

std::string_view wordOf(AgeKind kind) noexcept {
  static constexpr std::array<std::string_view, 4> WORDS = {"accessed", "modified", "created",
                                                            "backed_up"};
  return at(WORDS, kind);
}

std::string_view wordOf(RankingKind kind) noexcept {
  static constexpr std::array<std::string_view, 5> WORDS = {"largest_files", "least_accessed",
                                                            "oldest_not_backed_up",
                                                            "largest_orphans", "oldest_orphans"};
  return at(WORDS, kind);
}

std::string_view wordOf(EntryType type) noexcept {
  static constexpr std::array<std::string_view, 7> WORDS = {
      "unknown", "file", "link", "directory", "fifo", "socket", "device"};
  return at(WORDS, type);
}

std::optional<std::string> utcTime(std::int64_t milliseconds) {
  constexpr std::int64_t FIRST_YEAR = 0 - 1900;
  constexpr std::int64_t LAST_YEAR = 9999 - 1900;
  // Rounded down, also before 1970.
  const std::int64_t fraction = (milliseconds % 1000 + 1000) % 1000;
  const std::time_t seconds = milliseconds / 1000 - (milliseconds % 1000 < 0 ? 1 : 0);
  std::tm utc{};
  if (::gmtime_r(&seconds, &utc) == nullptr || utc.tm_year < FIRST_YEAR || utc.tm_year > LAST_YEAR)
    return std::nullopt;
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:03}Z", utc.tm_year + 1900,
                     utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec, fraction);
}

std::string ageWord(std::int64_t seconds) {
  constexpr std::int64_t DAY = 86400;
  constexpr std::int64_t YEAR = 31557600;
  if (seconds != 0 && seconds % YEAR == 0)
    return fmt::format("{}y", seconds / YEAR);
  return seconds % DAY == 0 ? fmt::format("{}d", seconds / DAY) : fmt::format("{}s", seconds);
}

}  // namespace orv::ctl
