#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace orv {

// What the walk does with a directory of its filesystem that it meets as an entry.
enum class Passage : std::uint8_t {
  ENTERED,
  LEFT_OUT,  // a snapshot: neither counted nor entered
  TOO_DEEP   // shown, counted and reported, not entered
};

// Which entries belong to the scanned filesystem and which of its directories are entered: one set
// of rules for the walk and for what reads ahead of it. Fixed once the root was examined, and then
// for any thread.
struct EntryRules {
  // Levels that can be open at a time.
  static constexpr int MAX_LEVELS = 200;

  std::string rootPath;      // without a trailing "/", but for the root directory itself
  std::string snapshotPath;  // to be left out at the top; empty for none
  std::int64_t device = -1;  // low 32 bits of the root's; -1 when it could not be examined

  // Whether an entry on that device is one of the scanned filesystem; -1 when it could not be
  // examined, which is never one whatever the root's device is.
  [[nodiscard]] bool isOwn(std::int64_t entryDevice) const noexcept {
    return entryDevice >= 0 && entryDevice == device;
  }
  // Of a directory called `name` in a directory of that level, which is 0 for the root.
  [[nodiscard]] Passage passageOf(int level, std::string_view name) const;
};

}  // namespace orv
