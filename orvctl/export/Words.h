#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "orvctl/model/Model.h"

// The words of the model as every export writes them: the same value has the same name in JSON,
// CSV, metrics and on the page.
namespace orv::ctl {

[[nodiscard]] std::string_view wordOf(AgeKind kind) noexcept;      // "accessed", "modified", ...
[[nodiscard]] std::string_view wordOf(RankingKind kind) noexcept;  // "largest_files", ...
[[nodiscard]] std::string_view wordOf(EntryType type) noexcept;    // "file", "link", ...

// Milliseconds since 1970 as an RFC 3339 time in UTC: "2026-01-31T09:30:00.250Z". Missing for years
// that it cannot write (before 0 and after 9999): files may be dated anywhere.
[[nodiscard]] std::optional<std::string> utcTime(std::int64_t milliseconds);

// An age as the clauses of a scan write it: "90d", "1y" (365.25 days), "3600s".
[[nodiscard]] std::string ageWord(std::int64_t seconds);

}  // namespace orv::ctl
