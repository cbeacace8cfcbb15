#include "Scan/unix/DirectoryStream.h"

#include <dirent.h>

#include <algorithm>
#include <numeric>

#include "Scan/walk/Scanner.h"
#include "runtime/nls/MessageLog.h"
#include "runtime/thrd/StopFlag.h"
#include "runtime/ut/ORVException.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

// What is kept between directories: enough for nearly all of them.
constexpr std::size_t KEPT_NAMES = 4'096;

}  // namespace

void reportOpenFailure(Scanner& scanner, const std::string& path, int error) {
  scanner.noteFailure(error);
  TRACE(TR_MAX, ">> opendir() failed on %s \n", path.c_str());
  issueMessage(msg::STA0121E, {path, errnoText(error)});
}

void throwReadFailure(const std::string& path, int error) {
  issueMessage(msg::STA0122E, {path, errnoText(error)});
  // The walk goes on with the directory above, and the job's code tells that something is missing.
  throw LocalizableException("read directory " + path + ": " + errnoText(error));
}

void NameList::clear() {
  if (m_names.capacity() > KEPT_NAMES) {
    // One huge directory must not keep its memory for the rest of the walk, for every thread that
    // read one.
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
    // Without an inode the entry was deleted, as readdir has it, too.
    if (entry->d_ino == 0 || isPassedOver(entry->d_name, fsType))
      continue;
    m_names.push_back({entry->d_ino, static_cast<std::uint32_t>(m_text.size())});
    m_text.insert(m_text.end(), entry->d_name, entry->d_name + std::strlen(entry->d_name) + 1);
  }
  return 0;
}

std::unique_ptr<std::uint32_t[]> NameList::inodeOrder() const {
  // Numbers and not names are sorted: the entries are delivered in the order of the stream.
  auto order = std::make_unique_for_overwrite<std::uint32_t[]>(m_names.size());
  std::uint32_t* const first = order.get();
  std::iota(first, first + m_names.size(), 0U);
  std::sort(first, first + m_names.size(), [this](std::uint32_t a, std::uint32_t b) {
    return m_names[a].inode < m_names[b].inode;
  });
  return order;
}

void DirectoryWindow::fill(int directory, int fsType) {
  m_list.clear();
  m_next = 0;
  m_readError = m_list.readWindow(directory, fsType, [] {
    throwIfStopped();
    return false;
  });
  const auto& names = m_list.names();
  // Once large, always large: the last window of such a directory may hold a few names only.
  m_isLarge = m_isLarge || m_list.isLarge();
  if (!m_isLarge)
    return;
  // In the order of inodes: local disks keep those beside each other, so that they are read once.
  m_examined.resize(names.size());
  const auto order = m_list.inodeOrder();
  for (std::size_t i = 0; i < names.size(); ++i) {
    Examined& entry = m_examined[order[i]];
    // An error is kept with its entry: it is told when the walk comes to it.
    entry.error = examineEntry(directory, m_list.text().data() + names[order[i]].offset,
                               Membership::BY_DEVICE, entry.st);
  }
}

const DirectoryWindow::Entry* DirectoryWindow::next(int directory, int fsType) {
  const auto& names = m_list.names();
  // One window at a time: what was delivered makes room for what comes next.
  if (m_next == names.size() && !m_list.atEnd())
    fill(directory, fsType);
  if (m_next == names.size())
    return nullptr;
  const Examined* examined = m_isLarge ? &m_examined[m_next] : nullptr;
  m_entry = {m_list.text().data() + names[m_next++].offset,
             examined == nullptr ? nullptr : &examined->st,
             examined == nullptr ? 0 : examined->error};
  return &m_entry;
}

}  // namespace orv
