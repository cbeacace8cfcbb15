#include "Scan/unix/DirectoryReaderAhead.h"

#include <cerrno>

#include "Scan/entry/FileAttributes.h"
#include "Scan/unix/DirectoryStream.h"
#include "Scan/unix/ReadAhead.h"
#include "Scan/unix/ScannerUnix.h"
#include "Scan/walk/FileRecord.h"
#include "runtime/thrd/StopFlag.h"
#include "runtime/ut/ORVException.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

// Entries of a step that are delivered before their room is given back together.
constexpr std::uint32_t GIVE_BACK = 256;

}  // namespace

long DirectoryReaderAhead::getHandle() const {
  return reinterpret_cast<long>(m_directory.get());
}

// The directory is taken over by `open` already: a handle can only confirm or drop it.
int DirectoryReaderAhead::setHandle(long handle) {
  const long old = getHandle();
  if (handle < 1)
    TRACE(TR_MAX, "ERROR: Setting new handle to an illegal value of %ld.", handle);
  if (old == 0 || old == handle)
    return 0;
  m_ahead.discard(std::move(m_directory));
  return 1;
}

int DirectoryReaderAhead::directoryFd() const noexcept {
  // Once the read-ahead runs, its helpers may close it at any time.
  const bool isOpenRoot = !m_ahead.isStarted() && m_directory && m_directory->firstStep->opened;
  return isOpenRoot ? m_directory->firstStep->opened->fd() : -1;
}

long DirectoryReaderAhead::open(const std::string& path) {
  TRACE_METHOD("open(...)");
  std::string local;
  if (!m_scanner.pathToOpen(path, local))
    return 0;
  const int error = m_ahead.isStarted() ? openOffered() : openRoot(path, local);
  m_scanner.noteAnswer(error);
  if (error != 0) {
    m_ahead.discard(std::move(m_directory));
    reportOpenFailure(m_scanner, path, error);
    return 0;
  }
  TRACE(TR_MAX, ">> opendir() succeed on %s\n", local.c_str());
  return getHandle();
}

int DirectoryReaderAhead::openRoot(const std::string& path, const std::string& local) {
  EntryStat st;
  const int parent = m_scanner.parentDirectoryFd();
  const std::string name = parent < 0 ? local : local.substr(local.rfind('/') + 1);
  const int error = m_ahead.openRoot({parent, name, walk().level}, m_directory, st);
  if (error == 0)
    m_root = st;
  // Without its root there is nothing of the filesystem to report.
  if (error == ETIMEDOUT)
    throw new GenericException(msg::STA0530E, {path, "open its root: " + errnoText(error)});
  return error;
}

int DirectoryReaderAhead::openOffered() {
  m_directory = m_ahead.takeOffered();
  // Offered is all that may be entered, unless there was no memory for it.
  if (!m_directory)
    return ENOMEM;
  try {
    m_ahead.awaitOpened(*m_directory);
  } catch (...) {
    // Work at it may go on until the read-ahead is stopped; this reader is gone before that.
    m_ahead.offer(std::move(m_directory));
    throw;
  }
  return m_directory->openError;
}

// Called before the first entry, while the scanner's record still describes the directory itself.
void DirectoryReaderAhead::start(int fsType) {
  // The plan needs it to tell whether the root is a large directory; below, a directory's size is
  // known from its entry.
  m_directory->size = walk().info->faLength;
  m_ahead.start(*m_directory, m_scanner.aheadRules(fsType));
}

// The step that holds the next entry; null at the end of the directory.
AheadStep* DirectoryReaderAhead::currentStep() {
  std::unique_ptr<AheadStep>& first = m_directory->firstStep;
  while (first) {
    if (m_ahead.awaitEntry(*first, m_position))
      return first.get();
    m_ahead.giveBackStep(*first);
    first = std::move(first->next);
    m_position = m_nextBelow = 0;
  }
  return nullptr;
}

// Makes the next entry the scanner's current one.
void DirectoryReaderAhead::deliver(AheadStep& step) {
  const AheadStep::Entry& entry = step.entries[m_position];
  // The name lives in the step, which stays until the walk asks for the entry behind it.
  m_name = step.nameOf(m_position);
  FileRecord& file = walk().file;
  file.examined = true;
  file.error = entry.error;
  m_scanner.noteAnswer(entry.error);
  if (entry.error == 0)
    file.st = entry.st;
  if (m_nextBelow < step.subdirectories.size() &&
      step.subdirectories[m_nextBelow].index == m_position)
    // Before the walk decides: a directory that it does not enter is discarded with the next offer.
    m_ahead.offer(std::move(step.subdirectories[m_nextBelow++].directory));
  if (++m_position % GIVE_BACK == 0)
    m_ahead.giveBack(step, GIVE_BACK);
}

bool DirectoryReaderAhead::nextEntry(const std::string& path, long handle, int fsType) {
  int readError = 0;
  if (handle != 0) {
    throwIfStopped();
    if (!m_ahead.isStarted())
      start(fsType);
    m_ahead.offer(nullptr);
    if (AheadStep* step = currentStep()) {
      deliver(*step);
      m_scanner.ScannerFinishOffNextEntry(path, m_name);
      return true;
    }
    // The root was open before its first read was asked for, and is opened again for that.
    const int openError = m_directory->openError;
    readError = openError != 0 ? openError : m_directory->readError;
    m_directory.reset();
  }
  if (readError != 0) {
    m_scanner.noteAnswer(readError);
    throwReadFailure(path, readError);
  }
  walk().stepToParent();
  return false;
}

std::int64_t DirectoryReaderAhead::stat(const std::string&, FileAttributes* info, int) {
  FileRecord& file = walk().file;
  const std::string& path = info->faName;
  if (m_name == nullptr && m_root) {
    file.examined = true;
    file.error = 0;
    file.st = *m_root;
  }
  // What was examined ahead still has to be within the limits of the path that is reported.
  file.pathIsCut = path.size() > Scanner::MAX_STAT_PATH;
  // With a local root also what was examined: an entry whose local path is too long is left out,
  // with helpers or without.
  const bool needsPath = !file.examined || m_scanner.localPath() != nullptr;
  if (needsPath && !m_scanner.pathToExamine(path, file)) {
    file.examined = false;
    TRACE(TR_MAX, "Stat() failed on %s ... returning -1", path.c_str());
    return -1;
  }
  const bool isExamined = m_scanner.Stat(file);
  file.examined = false;
  if (!isExamined) {
    TRACE(TR_MAX, "Stat() failed on %s ... returning -1", path.c_str());
    return -1;
  }
  ScannerFinishOffStat(info, &file);
  return file.st.device;
}

void DirectoryReaderAhead::abandon() noexcept {
  m_ahead.discard(std::move(m_directory));
  walk().stepToParent();
}

}  // namespace orv
