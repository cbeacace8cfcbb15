#pragma once

#include <cstddef>
#include <memory>

#include "Scan/Inode.h"

namespace orv {

// The hard-linked inodes that one accumulator container has met in one tree. An ordered B-tree:
// some 9 to 16 bytes per inode. Used on the scanning thread.
class InodeTable final {
 public:
  InodeTable();
  ~InodeTable();
  InodeTable(const InodeTable&) = delete;
  InodeTable& operator=(const InodeTable&) = delete;

  // Adds the inode; false when it is known already.
  bool insert(Inode inode);

  // Frees the table's memory.
  void clear() noexcept;

  [[nodiscard]] std::size_t size() const noexcept;

 private:
  struct Tree;
  std::unique_ptr<Tree> m_tree;
};

}  // namespace orv
