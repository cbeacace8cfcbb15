#pragma once

#include <cstdint>
#include <optional>
#include <string>

// Figures as people read them.
namespace orv::ctl {

// Bytes in powers of 1024 with one decimal: "999 B", "1.5 KiB", "12.0 GiB".
[[nodiscard]] std::string sizeText(std::int64_t bytes);

// A count with commas between thousands: "1,234,567".
[[nodiscard]] std::string countText(std::int64_t count);

// Share of a whole in percent with one decimal: "12.5%"; "-" when the whole is 0.
[[nodiscard]] std::string shareText(double part, double whole);

// Local date and time of milliseconds since 1970, to the minute: "2024-01-31 09:30". A time that no
// calendar holds is given in seconds.
[[nodiscard]] std::string timeText(std::int64_t milliseconds);

// The same without the time of day: "2024-01-31".
[[nodiscard]] std::string dateText(std::int64_t milliseconds);

// An age in its largest fitting unit: "45 seconds", "3.2 hours", "12.0 days", "2.5 years".
[[nodiscard]] std::string ageText(std::int64_t seconds);

// A number of things: "1 directory", "1,205 directories", "3 entries".
[[nodiscard]] std::string numberOf(std::int64_t count, const std::string& singular);

// What counts as a file: "1 file or link", "1,205 files and links".
[[nodiscard]] std::string filesText(std::int64_t count);

// A class of sizes, both ends included: "up to 2 B", "201 B - 2 KiB", "above 10 GiB".
[[nodiscard]] std::string sizeRangeText(std::int64_t from, std::optional<std::int64_t> to);

// A class of ages in seconds: "up to 1 day", "30 - 60 days", "above 1 year", "in the future".
[[nodiscard]] std::string ageRangeText(std::optional<std::int64_t> from,
                                       std::optional<std::int64_t> to);

// An age that is a limit, in the largest unit that it is a whole number of: "90 days", "1 year".
[[nodiscard]] std::string ageLimitText(std::int64_t seconds);

// Elapsed time: "4 ms", "0.4 s", "3 min 20 s", "2 h 5 min".
[[nodiscard]] std::string elapsedText(double seconds);

}  // namespace orv::ctl
