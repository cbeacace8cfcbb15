#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace orv {

// An entry of the table of known inodes: nothing but the number, since backup trees hold a hundred
// million of them. Ordered by the number as a signed value.
struct Inode {
  std::int64_t inodeNumber;

  friend bool operator<(const Inode& a, const Inode& b) noexcept {
    return a.inodeNumber < b.inodeNumber;
  }
};

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
