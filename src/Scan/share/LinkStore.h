#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "Scan/accumulate/PartState.h"
#include "runtime/ut/UniqueFd.h"

namespace orv::share {

// Keeps the first name of each linked inode that one container meets in a share, in memory up to a
// limit, then in files without names. Owned by its container, used on the scanning thread. Throws
// StateError when a file cannot be written or read.
class LinkStore final : public FirstNames {
 public:
  // Bytes of names in memory, about.
  static constexpr std::size_t LIMIT = 2U << 20;

  // Files are made in `directory`.
  explicit LinkStore(std::string directory);
  ~LinkStore() override;

  [[nodiscard]] bool isFirst(const FileAttributes& info) override;

  // Hands out all that was kept by ascending inode, and of an inode in the walk's order: the first
  // name to `first`, those that were taken for it to `later`. The store is empty then.
  using Take = std::function<void(FileAttributes&)>;
  void drain(const Take& first, const Take& later);

 private:
  using Names = std::map<std::uint64_t, std::string>;  // packed, by inode
  class Run;

  void putAway();

  std::string m_directory;
  Names m_names;
  std::size_t m_bytes = 0;
  std::vector<UniqueFd> m_files;  // each sorted, in the walk's order
};

}  // namespace orv::share
