#pragma once

#include <cstdint>

#include "Scan/entry/FileAttributes.h"

namespace orv {

// A part of a tree that one of several walks does: where it begins, and which directories it leaves
// to the others. Made by who divides the tree, handed to the scanner of one part after the other,
// used on its thread.
class WalkPart {
 public:
  WalkPart() = default;
  virtual ~WalkPart() = default;
  WalkPart(const WalkPart&) = delete;
  WalkPart& operator=(const WalkPart&) = delete;

  // The directory to begin with: the scan root, of which nothing but the place need be known, or a
  // directory below it as the walk that met it as an entry found it.
  [[nodiscard]] virtual const FileAttributes& root() const = 0;

  // Whether the walk may enter that directory, too; `entries` were met of this part so far. What it
  // may not enter was counted as an entry and is left to another walk.
  [[nodiscard]] virtual bool mayEnter(const FileAttributes& directory, std::int64_t entries) = 0;
  // Told after the actions were.
  virtual void leaveOver(const FileAttributes& directory) = 0;

  std::int64_t scanStart = 0;  // of all walks, in seconds since 1970
  std::int64_t asked = 0;      // entries that selections were asked about, of all parts so far
  std::int64_t foreign = 0;    // directories that lie on other devices, of all parts so far
};

}  // namespace orv
