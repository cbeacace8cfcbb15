#pragma once

#include <compare>
#include <cstdint>

namespace orv {

// The ranking key of one retained entry: by value, among equal values in the order of arrival.
struct Orderer {
  std::int64_t value;
  std::int32_t sequence;

  friend auto operator<=>(const Orderer&, const Orderer&) = default;
};

}  // namespace orv
