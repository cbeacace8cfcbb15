#pragma once

#include <cstdint>
#include <limits>

namespace orv {

// Adds `value` to `sum`, stopping at the ends of the 64-bit range: sparse files can claim sizes,
// and damaged inodes times, whose sum passes it.
inline void addSaturating(std::int64_t& sum, std::int64_t value) noexcept {
  if (__builtin_add_overflow(sum, value, &sum)) [[unlikely]]
    sum = value < 0 ? std::numeric_limits<std::int64_t>::min()
                    : std::numeric_limits<std::int64_t>::max();
}

}  // namespace orv
