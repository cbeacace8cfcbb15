#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "runtime/ut/UniqueFd.h"

namespace orv {

// A regular file that is read line by line, from any position on. Owned and used by one reader, on
// one thread. Positions are bytes from the file's beginning; going back within what was read last
// costs nothing, for readers of entities often do.
class LineFile final {
 public:
  // Positions beyond this are refused: those who remember them keep 32 bits.
  static constexpr std::int64_t MAX_POSITION = INT32_MAX;

  enum class Read { LINE, END, FAILED, TOO_LARGE };

  // False with errno; whatever stands there instead of a file is not waited for.
  [[nodiscard]] bool open(const std::string& path);

  // The line that begins at the position, without its line break, which the position is then
  // behind. END when there is none; FAILED with errno; TOO_LARGE for one that ends beyond
  // MAX_POSITION, none of which is then in memory.
  [[nodiscard]] Read next(std::string& line);

  [[nodiscard]] std::int64_t position() const noexcept { return m_position; }
  void seek(std::int64_t position) noexcept {
    m_position = position;
    m_isAtEnd = false;
  }

  // Whether the last line was ended by the file, not by a line break.
  [[nodiscard]] bool isAtEnd() const noexcept { return m_isAtEnd; }

 private:
  static constexpr std::size_t BUFFER_SIZE = 65'536;

  [[nodiscard]] bool fill();
  [[nodiscard]] bool read(std::int64_t from, std::size_t size, std::string& text) const;

  UniqueFd m_fd;
  std::unique_ptr<char[]> m_buffer;
  std::int64_t m_begin = 0;  // of the buffer
  std::int64_t m_end = 0;    // of what the buffer holds
  std::int64_t m_position = 0;
  bool m_isAtEnd = false;
};

}  // namespace orv
