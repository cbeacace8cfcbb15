#include "Scan/unix/NameList.h"

#include <dirent.h>

#include <cerrno>
#include <cstring>

#include "Scan/unix/StreamRules.h"

namespace orv {
namespace {

// What is kept between directories: enough for nearly all of them.
constexpr std::size_t KEPT_NAMES = 4'096;

}  // namespace

void NameList::clear() {
  if (m_names.capacity() > KEPT_NAMES) {
    m_names = {};
    m_text = {};
  }
  m_names.clear();
  m_text.clear();
  m_atEnd = false;
}

int NameList::readMore(int directory, int fsType) {
  const ssize_t length = ::getdents64(directory, m_buffer.data(), m_buffer.size());
  if (length <= 0) {
    m_atEnd = true;
    // A directory that was removed while it was open is empty, not faulty, as readdir has it.
    return length == 0 || errno == ENOENT ? 0 : errno;
  }
  for (std::size_t at = 0; at < static_cast<std::size_t>(length);) {
    const auto* entry = reinterpret_cast<const dirent64*>(m_buffer.data() + at);
    at += entry->d_reclen;
    if (entry->d_ino == 0 || isPassedOver(entry->d_name, fsType))
      continue;
    m_names.push_back({entry->d_ino, static_cast<std::uint32_t>(m_text.size())});
    m_text.insert(m_text.end(), entry->d_name, entry->d_name + std::strlen(entry->d_name) + 1);
  }
  return 0;
}

}  // namespace orv
