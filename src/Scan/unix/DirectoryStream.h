#pragma once

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "Probe/Filesystem.h"
#include "Scan/walk/FileRecord.h"

// What holds for the entries of a directory however they are read, and how many are read at once.
namespace orv {

class Scanner;

// A directory this large in bytes may hold more entries than are worth examining in stream order;
// the smallest entry of the common disk filesystems takes about 8 bytes.
inline constexpr std::int64_t LARGE_DIRECTORY_BYTES = 65'536;

// Whether an entry of that name is left out on a filesystem of type `fsType`.
[[nodiscard]] inline bool isPassedOver(const char* name, int fsType) noexcept {
  if (name[0] != '.')
    return false;
  if (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'))
    return true;
  return Filesystem::isZENFSFileset(static_cast<std::int16_t>(fsType)) &&
         std::strcmp(name, ".flashcopy") == 0;
}

// Reports a directory that cannot be opened; it has no entries.
void reportOpenFailure(Scanner& scanner, const std::string& path, int error);

// Reports a directory whose stream failed, and throws the LocalizableException that says so.
[[noreturn]] void throwReadFailure(const std::string& path, int error);

// Names read from an open directory, in the order of its stream, without a stream object of their
// own: the position lies in the descriptor, so any thread can read on. Used by one thread at a
// time; memory is kept from one directory to the next, but for that of a very large one.
//
// A large directory on a disk is examined in inode order, which spares the disk the seeks between
// its inode tables, a window of names at a time: WINDOW_NAMES and WINDOW_TEXT bound the memory.
class NameList final {
 public:
  struct Name {
    std::uint64_t inode;
    std::uint32_t offset;  // in `text`
  };
  // Names that one call of `readMore` adds at most.
  static constexpr std::size_t MAX_READ = 32'768 / 24;
  static constexpr std::size_t WINDOW_NAMES = 65'536;
  // Bytes of names: of long ones there are fewer in a window.
  static constexpr std::size_t WINDOW_TEXT = 3U << 19;
  // Up to so many names, stream order does as well.
  static constexpr std::size_t SMALL_DIRECTORY = 10'000;

  void clear();

  // Reads another buffer of names; those that `isPassedOver` are left out. 0, or the errno value;
  // `atEnd` tells whether there is more to read. After an error there is not.
  [[nodiscard]] int readMore(int directory, int fsType);
  // Reads on as far as the window goes. `isStopped` is asked before each buffer; ECANCELED when it
  // says so, and what it throws is passed on.
  template <typename IsStopped>
  [[nodiscard]] int readWindow(int directory, int fsType, IsStopped isStopped) {
    int error = 0;
    while (error == 0 && !m_atEnd && m_names.size() + MAX_READ <= WINDOW_NAMES &&
           m_text.size() < WINDOW_TEXT)
      error = isStopped() ? ECANCELED : readMore(directory, fsType);
    return error;
  }

  [[nodiscard]] bool atEnd() const noexcept { return m_atEnd; }
  // Whether these are too many for stream order. The rest of such a directory may be less.
  [[nodiscard]] bool isLarge() const noexcept {
    return m_names.size() > SMALL_DIRECTORY || m_text.size() >= WINDOW_TEXT;
  }
  [[nodiscard]] const std::vector<Name>& names() const noexcept { return m_names; }
  // The names, each with its terminating zero.
  [[nodiscard]] const std::vector<char>& text() const noexcept { return m_text; }
  // The places of the names, by ascending inode.
  [[nodiscard]] std::unique_ptr<std::uint32_t[]> inodeOrder() const;

 private:
  alignas(8) std::array<char, 32'768> m_buffer;
  std::vector<Name> m_names;
  std::vector<char> m_text;
  bool m_atEnd = false;
};

// The window of a walk without helpers: names read ahead and examined in inode order, if they are
// many, then delivered in stream order. Owned by the reader of the directory, used on its thread.
// Never used on an overlay: entries are taken to belong to the filesystem by their device.
class DirectoryWindow final {
 public:
  DirectoryWindow() = default;
  DirectoryWindow(const DirectoryWindow&) = delete;
  DirectoryWindow& operator=(const DirectoryWindow&) = delete;

  struct Entry {
    const char* name;
    const EntryStat* st;  // null: still to be examined; valid when error is 0
    int error;            // errno of the examination
  };
  // The next entry of the open directory, which is read by nobody else. Null at its end; then
  // `readError` is the errno that ended it, or 0. Throws ScanAbortException* when the scan is
  // stopped.
  [[nodiscard]] const Entry* next(int directory, int fsType);
  [[nodiscard]] int readError() const noexcept { return m_readError; }

 private:
  struct Examined {
    EntryStat st;
    int error;
  };

  void fill(int directory, int fsType);

  NameList m_list;
  std::vector<Examined> m_examined;  // by place in the list; nothing in a small directory
  std::size_t m_next = 0;
  bool m_isLarge = false;
  int m_readError = 0;
  Entry m_entry{};
};

}  // namespace orv
