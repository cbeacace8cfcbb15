#pragma once

#include <optional>

#include "Scan/select/ClauseCursor.h"
#include "Scan/select/SelectNodes.h"

namespace orv {

// A value that an entry's size, time stamp or link count is compared with.
struct ClauseValue {
  Measure measure;
  Span span;
};

// Reads a size: digits and an optional K, M, G or T (powers of 1024). Nothing, with the cursor's
// error set, when there is none or it passes 64 bits.
[[nodiscard]] std::optional<ClauseValue> readSize(ClauseCursor& cursor);

// Reads an age (digits and one of s m h d w y; a year has 365.25 days) or a date, YYYY-MM-DD or
// YYYY-MM-DDTHH:MM:SS in UTC. A date alone is the whole of its day. Nothing, with the cursor's
// error set, when there is none, the date does not exist or the age passes 64 bits.
[[nodiscard]] std::optional<ClauseValue> readWhen(ClauseCursor& cursor);

// Reads a number without a unit. Nothing, with the cursor's error set, when there is none or it
// passes 63 bits.
[[nodiscard]] std::optional<ClauseValue> readCount(ClauseCursor& cursor);

}  // namespace orv
