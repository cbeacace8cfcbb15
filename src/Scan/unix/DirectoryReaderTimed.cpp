#include "Scan/unix/DirectoryReaderTimed.h"

#include <dirent.h>
#include <fcntl.h>

#include <cerrno>

#include "Scan/unix/ScannerUnix.h"
#include "Scan/unix/StreamRules.h"
#include "runtime/thrd/StopFlag.h"
#include "runtime/ut/ORVException.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"

namespace orv {

long DirectoryReaderTimed::getHandle() const {
  return m_block ? 1 : 0;
}

// There is no stream of this process to replace: only the one that `open` gave, or its end, is set.
int DirectoryReaderTimed::setHandle(long handle) {
  if (handle < 1)
    TRACE(TR_MAX, "ERROR: Setting new handle to an illegal value of %ld.", handle);
  const bool wasOpen = getHandle() != 0;
  if (handle == 0)
    endOfStream();
  return wasOpen && handle == 0 ? 1 : 0;
}

long DirectoryReaderTimed::open(const std::string& path) {
  TRACE_METHOD("open(...)");
  if (!pathToOpen(path, m_path))
    return 0;
  m_block = std::make_unique<DirectoryBlock>();
  const int error = readBlock();
  if (error == 0) {
    TRACE(TR_MAX, ">> opendir() succeed on %s\n", m_path.c_str());
    return getHandle();
  }
  m_block.reset();
  // Without its root there is nothing of the filesystem to report.
  if (error == ETIMEDOUT && walk().isAtRoot())
    throw new GenericException(msg::STA0530E, {path, "open its root: " + errnoText(error)});
  reportOpenFailure(m_scanner, path, error);
  return 0;
}

// Has the next entries read. 0, or the errno value.
int DirectoryReaderTimed::readBlock() {
  // Below the root a link can only have taken the place of the directory that was examined.
  const int flag = O_NOATIME | (walk().isAtRoot() ? 0 : O_NOFOLLOW);
  m_at = 0;
  return m_scanner.ask(VS_READDIR, m_path.c_str(), flag, m_block.get());
}

bool DirectoryReaderTimed::readName(int fsType) {
  errno = 0;
  for (;;) {
    throwIfStopped();
    if (m_at == m_block->size) {
      if (m_block->isAtEnd)
        return false;
      if (const int error = readBlock(); error != 0) {
        errno = error;
        return false;
      }
      continue;
    }
    const auto* entry = reinterpret_cast<const dirent64*>(m_block->entries + m_at);
    m_at += entry->d_reclen;
    if (isPassedOver(entry->d_name, fsType))
      continue;
    m_name = entry->d_name;
    return true;
  }
}

void DirectoryReaderTimed::endOfStream() {
  m_block.reset();
  m_name = nullptr;
}

}  // namespace orv
