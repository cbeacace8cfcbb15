#pragma once

#include <dirent.h>

#include <cstdint>
#include <vector>

#include "Scan/walk/FileRecord.h"

namespace orv {

// A window on a large directory: names read ahead in stream order and examined in inode order,
// which spares a disk the seeks between inode table blocks, then delivered in stream order. Owned
// by the reader of the directory, used on its thread. Never used on an overlay: entries are taken
// to belong to the filesystem by their device.
//
// A directory of at most SMALL_DIRECTORY entries is examined in stream order. Memory is bounded by
// WINDOW_NAMES entries (at most 255 bytes of name and 64 bytes of figures each).
class DirectoryWindow final {
 public:
  static constexpr std::size_t SMALL_DIRECTORY = 10'000;
  static constexpr std::size_t WINDOW_NAMES = 65'536;

  DirectoryWindow() = default;
  DirectoryWindow(const DirectoryWindow&) = delete;
  DirectoryWindow& operator=(const DirectoryWindow&) = delete;

  // The next entry, with `error` the errno of its examination. Null at the end of the stream; then
  // `readError` is the errno that ended it, or 0. `skip` tells which names are passed over.
  // Throws what `beforeRead` throws, which is called before each read of the stream.
  struct Entry {
    const char* name;
    const EntryStat* st;  // valid when error is 0
    int error;
  };
  template <typename BeforeRead, typename Skip>
  [[nodiscard]] const Entry* next(DIR* stream, BeforeRead beforeRead, Skip skip);

  [[nodiscard]] int readError() const noexcept { return m_readError; }

 private:
  struct Slot {
    EntryStat st;
    std::uint32_t nameOffset;
    int error;
  };

  void clear() noexcept;
  void append(const dirent64& entry);
  void examineInInodeOrder(int directory);

  std::vector<char> m_names;
  std::vector<Slot> m_slots;
  std::vector<std::uint32_t> m_order;
  std::size_t m_next = 0;
  bool m_large = false;  // more than SMALL_DIRECTORY entries were met
  bool m_atEnd = false;
  int m_readError = 0;
  Entry m_entry{};
};

template <typename BeforeRead, typename Skip>
const DirectoryWindow::Entry* DirectoryWindow::next(DIR* stream, BeforeRead beforeRead, Skip skip) {
  if (m_next == m_slots.size() && !m_atEnd) {
    clear();
    std::size_t limit = m_large ? WINDOW_NAMES : SMALL_DIRECTORY + 1;
    while (m_slots.size() < limit) {
      beforeRead();
      errno = 0;
      const dirent64* entry = ::readdir64(stream);
      if (entry == nullptr) {
        m_atEnd = true;
        m_readError = errno;
        break;
      }
      if (skip(entry->d_name))
        continue;
      append(*entry);
      if (!m_large && m_slots.size() == limit) {
        m_large = true;
        limit = WINDOW_NAMES;
        m_slots.reserve(limit);
      }
    }
    if (m_large)
      examineInInodeOrder(::dirfd(stream));
  }
  if (m_next == m_slots.size())
    return nullptr;
  const Slot& slot = m_slots[m_next++];
  m_entry = {m_names.data() + slot.nameOffset, m_large ? &slot.st : nullptr, slot.error};
  return &m_entry;
}

}  // namespace orv
