#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "runtime/ut/Trace.h"

namespace orv {

// The size buckets that every distribution by size shares.
struct SizeRanges final {
  static constexpr std::size_t BUCKETS = 8;

  // Inclusive upper bounds in bytes of all buckets but the last. The uneven steps are deliberate:
  // readers of a result know the buckets by their position only.
  static constexpr std::array<std::int64_t, BUCKETS - 1> BOUNDS = {2,     20,     200,    2048,
                                                                   20480, 204800, 1024000};

  // The bucket of `size` bytes, 0 to 7; negative sizes fall into 0.
  [[nodiscard]] static std::size_t bucket(std::int64_t size) noexcept {
    TRACE_METHOD("bucket(...)");
    std::size_t index = 0;
    while (index < BOUNDS.size() && size > BOUNDS[index])
      ++index;
    return index;
  }
};

}  // namespace orv
