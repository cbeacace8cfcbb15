#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace orv {

// Names read from an open directory, in the order of its stream, without a stream object of their
// own: the position lies in the descriptor, so any thread can read on. Used by one thread at a
// time; memory is kept from one directory to the next, but for that of a very large one.
class NameList final {
 public:
  struct Name {
    std::uint64_t inode;
    std::uint32_t offset;  // in `text`
  };
  // Names that one call of `readMore` adds at most.
  static constexpr std::size_t MAX_READ = 32'768 / 24;

  void clear();

  // Reads another buffer of names; those that `isPassedOver` are left out. 0, or the errno value;
  // `atEnd` tells whether there is more to read. After an error there is not.
  [[nodiscard]] int readMore(int directory, int fsType);

  [[nodiscard]] bool atEnd() const noexcept { return m_atEnd; }
  [[nodiscard]] const std::vector<Name>& names() const noexcept { return m_names; }
  // The names, each with its terminating zero.
  [[nodiscard]] const std::vector<char>& text() const noexcept { return m_text; }

 private:
  alignas(8) std::array<char, 32'768> m_buffer;
  std::vector<Name> m_names;
  std::vector<char> m_text;
  bool m_atEnd = false;
};

}  // namespace orv
