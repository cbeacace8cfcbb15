#include "Scan/unix/DirectoryReaderUnix.h"

#include <fcntl.h>

#include "Scan/entry/FileAttributes.h"
#include "Scan/unix/ScannerUnix.h"
#include "Scan/walk/FileRecord.h"
#include "runtime/thrd/StopFlag.h"
#include "runtime/ut/Trace.h"
#include "runtime/ut/UniqueFd.h"

namespace orv {

long DirectoryReaderUnix::getHandle() const {
  return reinterpret_cast<long>(m_stream.get());
}

int DirectoryReaderUnix::setHandle(long handle) {
  const long old = getHandle();
  if (handle < 1)
    TRACE(TR_MAX, "ERROR: Setting new handle to an illegal value of %ld.", handle);
  if (old != 0 && old != handle)
    TRACE(TR_MAX,
          "WARNING: We overwrite an existing handle of %ld. We probably need to check if "
          "corresponding memory requires to be released!",
          old);
  if (old != handle)
    m_stream.reset(reinterpret_cast<DIR*>(handle));
  return old != 0 && old != handle ? 1 : 0;
}

int DirectoryReaderUnix::directoryFd() const noexcept {
  return m_stream ? ::dirfd(m_stream.get()) : -1;
}

DIR* DirectoryReaderUnix::openStream(const std::string& path) const {
  std::string local;
  if (!m_scanner.pathToOpen(path, local))
    return nullptr;
  // Below the open parent wherever that is possible: a path would be resolved anew, through
  // whatever has taken the place of one of its directories meanwhile.
  const int parent = m_scanner.localPath() != nullptr ? -1 : m_scanner.parentDirectoryFd();
  const char* name = parent < 0 ? local.c_str() : local.c_str() + local.rfind('/') + 1;
  UniqueFd fd(m_scanner.openDirectory(parent < 0 ? AT_FDCWD : parent, name, parent >= 0));
  DIR* stream = fd ? ::fdopendir(fd.get()) : nullptr;
  if (stream == nullptr) {
    reportOpenFailure(m_scanner, path, errno);
    return nullptr;
  }
  // The stream has taken it over.
  (void)fd.release();
  TRACE(TR_MAX, ">> opendir() succeed on %s\n", local.c_str());
  return stream;
}

long DirectoryReaderUnix::open(const std::string& path) {
  TRACE_METHOD("open(...)");
  return reinterpret_cast<long>(openStream(path));
}

// Called before the first entry, while the scanner's record still describes the directory itself.
void DirectoryReaderUnix::considerWindow() {
  if (walk().info->faLength >= LARGE_DIRECTORY_BYTES)
    m_window = m_scanner.lendWindow();
}

bool DirectoryReaderUnix::readName(int fsType) {
  if (m_name == nullptr)
    considerWindow();
  if (m_window) {
    // The stream object reads nothing while there is a window: both would read the descriptor on.
    const auto* entry = m_window->next(::dirfd(m_stream.get()), fsType);
    if (entry == nullptr) {
      errno = m_window->readError();
      return false;
    }
    throwIfStopped();
    m_name = entry->name;
    FileRecord& file = walk().file;
    file.examined = entry->st != nullptr;
    file.error = entry->error;
    if (entry->st != nullptr && entry->error == 0)
      file.st = *entry->st;
    return true;
  }
  for (;;) {
    throwIfStopped();
    // The end of the stream is told from a failure by this alone.
    errno = 0;
    const dirent64* entry = ::readdir64(m_stream.get());
    if (entry == nullptr)
      return false;
    if (isPassedOver(entry->d_name, fsType))
      continue;
    m_name = entry->d_name;
    return true;
  }
}

void DirectoryReaderUnix::endOfStream() {
  m_window.reset();
  m_stream.reset();
  m_name = nullptr;
}

void DirectoryReaderUnix::abandon() noexcept {
  endOfStream();
  walk().stepToParent();
}

bool DirectoryReaderUnix::nextEntry(const std::string& path, long handle, int fsType) {
  if (handle != 0 && readName(fsType)) {
    m_scanner.ScannerFinishOffNextEntry(path, m_name);
    return true;
  }
  // First: closing the stream may change it.
  const int readError = handle == 0 ? 0 : errno;
  endOfStream();
  if (readError != 0) {
    // The stream is given up: asked again, this reader is at its end.
    throwReadFailure(path, readError);
  }
  walk().stepToParent();
  return false;
}

bool DirectoryReaderUnix::locate(const std::string& path, FileRecord& file) {
  if (!m_stream || m_scanner.localPath() != nullptr)
    return m_scanner.pathToExamine(path, file);
  file.pathIsCut = path.size() > Scanner::MAX_STAT_PATH;
  file.directory = directoryFd();
  // Without a name yet, it is the directory itself that is examined.
  file.name = m_name == nullptr ? "" : m_name;
  return true;
}

std::int64_t DirectoryReaderUnix::stat(const std::string&, FileAttributes* info, int) {
  FileRecord& file = walk().file;
  const std::string& path = info->faName;
  if (!locate(path, file) || !m_scanner.Stat(file)) {
    TRACE(TR_MAX, "Stat() failed on %s ... returning -1", path.c_str());
    file.examined = false;
    return -1;
  }
  file.examined = false;
  // The reported path is the server's name of the entry already: only the examination went through
  // the local one.
  if (m_scanner.localPath() != nullptr)
    TRACE(TR_GENERAL, ">> Updated remote path to %s", path.c_str());
  ScannerFinishOffStat(info, &file);
  return file.st.device;
}

}  // namespace orv
