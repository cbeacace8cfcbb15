#include "Scan/unix/DirectoryReaderUnix.h"

#include <fcntl.h>

#include <algorithm>

#include "Scan/FileAttributes.h"
#include "Scan/FileRecord.h"
#include "Scan/LocalPath.h"
#include "Scan/unix/ScannerUnix.h"
#include "Scan/unix/StreamRules.h"
#include "common/unx/UniqueFd.h"
#include "common/ut/Trace.h"

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

bool DirectoryReaderUnix::pathToOpen(const std::string& path, std::string& local) const {
  const auto& scanner = static_cast<const ScannerUnix&>(*m_scanner);
  std::size_t length = 0;
  std::size_t available = Scanner::MAX_OPEN_PATH;
  const LocalPath* localPath = scanner.localPath();
  return localPath != nullptr ? localPath->retrieve(path, local, available)
                              : scanner.ScannerInitOpen(path, local, &length);
}

DIR* DirectoryReaderUnix::openStream(const std::string& path) const {
  auto& scanner = static_cast<ScannerUnix&>(*m_scanner);
  std::string local;
  if (!pathToOpen(path, local))
    return nullptr;
  const int parent = scanner.examinesByPath() ? -1 : scanner.parentDirectoryFd();
  const char* name = parent < 0 ? local.c_str() : local.c_str() + local.rfind('/') + 1;
  UniqueFd fd(scanner.openDirectory(parent < 0 ? AT_FDCWD : parent, name, parent >= 0));
  DIR* stream = fd ? ::fdopendir(fd.get()) : nullptr;
  if (stream == nullptr) {
    reportOpenFailure(path, errno);
    return nullptr;
  }
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
  auto& scanner = static_cast<ScannerUnix&>(*m_scanner);
  if (scanner.info().faLength >= LARGE_DIRECTORY_BYTES)
    m_window = scanner.lendWindow();
}

bool DirectoryReaderUnix::readName(int fsType) {
  if (m_name == nullptr)
    considerWindow();
  if (m_window) {
    const auto* entry = m_window->next(m_stream.get(), throwIfStopped, [fsType](const char* name) {
      return isPassedOver(name, fsType);
    });
    if (entry == nullptr) {
      errno = m_window->readError();
      return false;
    }
    throwIfStopped();
    m_name = entry->name;
    FileRecord& file = m_scanner->fileRecord();
    file.examined = entry->st != nullptr;
    file.error = entry->error;
    if (entry->st != nullptr && entry->error == 0)
      file.st = *entry->st;
    return true;
  }
  for (;;) {
    throwIfStopped();
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
  m_scanner->stepToParent();
}

bool DirectoryReaderUnix::nextEntry(const std::string& path, long handle, int fsType) {
  if (handle != 0 && readName(fsType)) {
    m_scanner->ScannerFinishOffNextEntry(path, m_name);
    return true;
  }
  const int readError = handle == 0 ? 0 : errno;
  endOfStream();
  if (readError != 0) {
    // The stream is given up: asked again, this reader is at its end.
    throwReadFailure(path, readError);
  }
  m_scanner->stepToParent();
  return false;
}

bool DirectoryReaderUnix::locate(const std::string& path, FileRecord& file) {
  const auto& scanner = static_cast<const ScannerUnix&>(*m_scanner);
  if (const LocalPath* localPath = scanner.localPath()) {
    std::size_t available = Scanner::MAX_STAT_PATH + 1 -
                            std::min(localPath->serverRoot.size(), Scanner::MAX_STAT_PATH + 1);
    if (!localPath->retrieve(path, file.path, available))
      return false;
    file.useOwnPath();
    return true;
  }
  if (m_stream && !scanner.examinesByPath()) {
    file.pathIsCut = path.size() > Scanner::MAX_STAT_PATH;
    file.directory = directoryFd();
    file.name = m_name == nullptr ? "" : m_name;
    return true;
  }
  m_scanner->ScannerInitStat(path, &file);
  return true;
}

std::int64_t DirectoryReaderUnix::stat(const std::string&, FileAttributes* info, int) {
  FileRecord& file = m_scanner->fileRecord();
  const std::string& path = info->faName;
  auto& scanner = static_cast<ScannerUnix&>(*m_scanner);
  if (!locate(path, file) || !scanner.Stat(file)) {
    TRACE(TR_MAX, "Stat() failed on %s ... returning -1", path.c_str());
    file.examined = false;
    return -1;
  }
  file.examined = false;
  // The reported path is the server's name of the entry already: only the examination went through
  // the local one.
  if (scanner.localPath() != nullptr)
    TRACE(TR_GENERAL, ">> Updated remote path to %s", path.c_str());
  ScannerFinishOffStat(info, &file);
  return file.st.device;
}

}  // namespace orv
