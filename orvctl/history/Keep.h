#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

// Which scans of a path a history keeps.
namespace orv::ctl {

// Milliseconds of a period as it is typed: a number with h, d, w, m (30 days) or y (365 days).
// Throws CtlError (usage) for another text.
[[nodiscard]] std::int64_t periodOf(const std::string& typed);

// "30": the newest 30. "90d": those of the last 90 days. "daily:14", "weekly:8", "monthly:24": the
// newest of each of the last so many days, ISO weeks or months (by local time) that have a scan.
struct KeepRule {
  enum class Kind { NEWEST, PERIOD, CALENDAR };
  Kind kind = Kind::NEWEST;
  std::int64_t amount = 0;       // scans, milliseconds, or days, weeks or months
  const char* format = nullptr;  // CALENDAR: what is alike in times of the same one
};
// Throws CtlError (usage) for a text that is none of these.
[[nodiscard]] KeepRule keepRuleOf(const std::string& typed);

// For each time, newest first, in milliseconds, whether a rule keeps it. The newest is kept always.
[[nodiscard]] std::vector<bool> kept(std::span<const std::int64_t> newestFirst,
                                     std::span<const KeepRule> rules, std::int64_t now);

}  // namespace orv::ctl
