#include "Scan/accumulate/InodeTable.h"

#include <absl/container/btree_set.h>

namespace orv {

struct InodeTable::Tree {
  absl::btree_set<Inode> inodes;
};

InodeTable::InodeTable() : m_tree(std::make_unique<Tree>()) {}

InodeTable::~InodeTable() = default;

bool InodeTable::insert(Inode inode) {
  return m_tree->inodes.insert(inode).second;
}

void InodeTable::clear() noexcept {
  m_tree->inodes.clear();
}

std::size_t InodeTable::size() const noexcept {
  return m_tree->inodes.size();
}

}  // namespace orv
