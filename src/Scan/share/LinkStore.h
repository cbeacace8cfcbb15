#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "Scan/accumulate/PartState.h"
#include "runtime/ut/UniqueFd.h"

namespace orv::share {

// The memory that all stores of a share have together: there are as many as profiles and monitored
// directories that lie in each other. Made by who walks the share, outlives the stores.
class LinkMemory final {
 public:
  // Bytes of names in memory, about: of one store, of all, and what each has at least, so that what
  // it puts away is worth it.
  static constexpr std::size_t LIMIT = 2U << 20;
  static constexpr std::size_t TOTAL = 6U << 20;
  static constexpr std::size_t LEAST = 64U << 10;

  // What each may hold while so many hold something.
  [[nodiscard]] std::size_t share() const noexcept {
    return std::clamp(TOTAL / std::max<std::size_t>(m_filled, 1), LEAST, LIMIT);
  }
  void filled() noexcept { ++m_filled; }
  void emptied() noexcept { --m_filled; }

 private:
  std::size_t m_filled = 0;
};

// Keeps the first name of each linked inode that one container meets in a share, in memory up to a
// limit, then in a file without a name. Owned by its container, used on the scanning thread. Throws
// StateError when the file cannot be written or read.
class LinkStore final : public FirstNames {
 public:
  // The file is made in `directory`.
  LinkStore(std::string directory, LinkMemory& memory);
  ~LinkStore() override;

  [[nodiscard]] bool isFirst(const FileAttributes& info) override;

  // Hands out all that was kept by ascending inode, and of an inode in the walk's order: the first
  // name to `first`, those that were taken for it to `later`. The store is empty then.
  using Take = std::function<void(FileAttributes&)>;
  void drain(const Take& first, const Take& later);

 private:
  using Names = std::map<std::uint64_t, std::string>;  // packed, by inode
  class Run;

  // A part of the file: names by ascending inode.
  struct Extent {
    std::int64_t begin;
    std::int64_t end;
  };

  void openFile();
  void putAway();
  void forget() noexcept;

  std::string m_directory;
  LinkMemory& m_memory;
  Names m_names;
  std::size_t m_bytes = 0;
  // One for all that is put away: a directory may hold any number of linked names.
  UniqueFd m_file;
  std::vector<Extent> m_extents;  // in the walk's order
};

}  // namespace orv::share
