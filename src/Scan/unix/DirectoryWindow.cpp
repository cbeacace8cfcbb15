#include "Scan/unix/DirectoryWindow.h"

#include <algorithm>
#include <cstring>
#include <numeric>

namespace orv {

void DirectoryWindow::clear() noexcept {
  m_names.clear();
  m_slots.clear();
  m_next = 0;
}

void DirectoryWindow::append(const dirent64& entry) {
  Slot slot;
  slot.st.inode = entry.d_ino;
  slot.nameOffset = static_cast<std::uint32_t>(m_names.size());
  slot.error = 0;
  m_slots.push_back(slot);
  m_names.insert(m_names.end(), entry.d_name, entry.d_name + std::strlen(entry.d_name) + 1);
}

void DirectoryWindow::examineInInodeOrder(int directory) {
  m_order.resize(m_slots.size());
  std::iota(m_order.begin(), m_order.end(), 0U);
  std::sort(m_order.begin(), m_order.end(), [this](std::uint32_t a, std::uint32_t b) {
    return m_slots[a].st.inode < m_slots[b].st.inode;
  });
  for (const std::uint32_t index : m_order) {
    Slot& slot = m_slots[index];
    slot.error =
        examineEntry(directory, m_names.data() + slot.nameOffset, Membership::BY_DEVICE, slot.st);
  }
}

}  // namespace orv
