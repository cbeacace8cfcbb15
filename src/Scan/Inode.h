#pragma once

#include <cstdint>

namespace orv {

// An entry of the table of known inodes: nothing but the number, since backup trees hold a hundred
// million of them. Ordered by the number as a signed value.
struct Inode {
  std::int64_t inodeNumber;

  friend bool operator<(const Inode& a, const Inode& b) noexcept {
    return a.inodeNumber < b.inodeNumber;
  }
};

}  // namespace orv
