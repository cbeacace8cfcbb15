#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// Where an entry stands in the order in which one walk over the whole tree meets the entries: its
// own position in the stream of its directory, behind those of the directories above it. Kept as
// bytes whose order is the order of the walk, so that what several walks found of one tree can be
// put together as one would have found it.
namespace orv::place {

// Of the scan root. Every place begins with it, so none is empty.
inline constexpr std::string_view ROOT = "\x01";
// Behind a directory's place: stands behind all that lies below the directory.
inline constexpr char BEHIND = '\xff';

// Positions below this one take a byte; of the others the first byte tells how many follow it.
inline constexpr std::uint64_t SHORT_POSITIONS = 0xf0;

// Appends the position of an entry to the place of its directory.
inline void append(std::string& place, std::uint64_t position) {
  if (position < SHORT_POSITIONS) [[likely]] {
    place.push_back(static_cast<char>(position));
    return;
  }
  int bytes = 1;
  while (bytes < 8 && position >> (8 * bytes) != 0)
    ++bytes;
  place.push_back(static_cast<char>(SHORT_POSITIONS + static_cast<std::uint64_t>(bytes)));
  for (int i = bytes - 1; i >= 0; --i)
    place.push_back(static_cast<char>(position >> (8 * i)));
}

// How many levels below the scan root an entry of that place lies.
[[nodiscard]] inline int levelOf(std::string_view place) noexcept {
  int level = 0;
  for (std::size_t at = ROOT.size(); at < place.size(); ++level) {
    const auto first = static_cast<unsigned char>(place[at]);
    at += first < SHORT_POSITIONS ? 1 : 1 + (first - SHORT_POSITIONS);
  }
  return level;
}

}  // namespace orv::place
