#pragma once

#include <cstdint>

namespace orv {

// The ranking key of one retained entry: by value, among equal values in the order of arrival.
struct Orderer {
  std::int64_t value;
  std::int32_t sequence;

  friend bool operator<(const Orderer& a, const Orderer& b) noexcept {
    return a.value != b.value ? a.value < b.value : a.sequence < b.sequence;
  }
};

}  // namespace orv
