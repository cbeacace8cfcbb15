#include "Common/format/LineFile.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "runtime/unx/Files.h"

namespace orv {

bool LineFile::open(const std::string& path) {
  m_fd = openRegularFile(path);
  m_buffer = std::make_unique_for_overwrite<char[]>(BUFFER_SIZE);
  m_begin = m_end = m_position = 0;
  return static_cast<bool>(m_fd) && fill();
}

// Reads what begins at the position. False with errno; at the end of the file nothing is read.
bool LineFile::fill() {
  ssize_t got = 0;
  do {
    // At the position and not at the descriptor's own: entities are read back and forth.
    got = ::pread(m_fd.get(), m_buffer.get(), BUFFER_SIZE, m_position);
  } while (got < 0 && errno == EINTR);
  m_begin = m_position;
  m_end = m_position + std::max<ssize_t>(got, 0);
  return got >= 0;
}

LineFile::Read LineFile::next(std::string& line) {
  const std::int64_t begin = m_position;
  line.clear();
  m_isAtEnd = false;
  // Its end is found first: a line takes no more memory than it is long, one that is too long none.
  for (bool isFound = false; !isFound;) {
    if ((m_position < m_begin || m_position >= m_end) && !fill())
      return Read::FAILED;
    m_isAtEnd = m_position == m_end;
    if (m_isAtEnd)
      break;
    const char* const from = m_buffer.get() + (m_position - m_begin);
    const auto available = static_cast<std::size_t>(m_end - m_position);
    const auto* const found = static_cast<const char*>(std::memchr(from, '\n', available));
    isFound = found != nullptr;
    m_position = isFound ? m_begin + (found - m_buffer.get()) : m_end;
    // Positions are kept in 32 bits by whoever asks for them.
    if (m_position >= MAX_POSITION)
      return Read::TOO_LARGE;
  }
  const std::int64_t end = m_position;
  if (m_isAtEnd && end == begin)
    return Read::END;
  if (begin >= m_begin)
    line.assign(m_buffer.get() + (begin - m_begin), static_cast<std::size_t>(end - begin));
  else if (!read(begin, static_cast<std::size_t>(end - begin), line))
    return Read::FAILED;
  m_position = end + (m_isAtEnd ? 0 : 1);
  return Read::LINE;
}

bool LineFile::read(std::int64_t from, std::size_t size, std::string& text) const {
  text.resize(size);
  for (std::size_t done = 0; done < size;) {
    const ssize_t got = ::pread(m_fd.get(), text.data() + done, size - done,
                                from + static_cast<std::int64_t>(done));
    if (got == 0)
      errno = EIO;  // the file has become shorter
    if (got == 0 || (got < 0 && errno != EINTR))
      return false;
    done += static_cast<std::size_t>(std::max<ssize_t>(got, 0));
  }
  return true;
}

}  // namespace orv
