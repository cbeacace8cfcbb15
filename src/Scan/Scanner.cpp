#include "Scan/Scanner.h"

#include <ctime>

#include "Common/GenericException.h"
#include "Common/ORVException.h"
#include "Scan/DirectoryReader.h"
#include "Scan/DirectoryWatch.h"
#include "Scan/FileAction.h"
#include "common/nls/MessageLog.h"
#include "common/ut/Trace.h"

namespace orv {
namespace {

constexpr int WALK_FAILED = 8;
constexpr int WALK_INCOMPLETE = 4;
constexpr int NO_READER = -1;
constexpr std::int64_t PROGRESS_INTERVAL = 99'999;

}  // namespace

Scanner::Scanner(Filesystem& filesystem, std::vector<SelectedAction> actions, UserTable& users,
                 FileTypeTable& fileTypes)
    : m_filesystem(filesystem),
      m_actions(std::move(actions)),
      m_users(users),
      m_fileTypes(fileTypes),
      m_rootPath(filesystem.fsMountPoint),
      m_currentPath(filesystem.fsMountPoint) {
  while (m_rootPath.size() > 1 && m_rootPath.back() == '/')
    m_rootPath.pop_back();
  m_matching.reserve(m_actions.size());
  m_file.scanner = this;
}

Scanner::~Scanner() = default;

void Scanner::closeReaders() noexcept {
  m_arrayReader.clear();
}

int Scanner::scan() {
  TRACE_METHOD("scan()");
  try {
    return walk();
  } catch (GenericException* thrown) {
    const std::unique_ptr<GenericException> exception(thrown);
    issueMessage(exception->message(), exception->inserts());
    TRACE(
        TR_ERROR,
        "Caught GenericException accessing filesystem %s - skipping this filesystem and trying to "
        "scan next filesystem",
        m_filesystem.fsMountPoint.c_str());
    TRACE(TR_ERROR, "Exiting with rc = 8");
    return WALK_FAILED;
  }
}

int Scanner::walk() {
  if (!openRoot())
    return WALK_FAILED;
  const std::time_t now = std::time(nullptr);
  m_filesystem.fsScanTime = static_cast<std::int64_t>(now) * 1000;
  m_scanStart = now;
  m_selectContext.scanStart = m_scanStart;
  m_info = std::make_unique<FileAttributes>();
  m_info->faName = m_currentPath;
  if (!m_arrayReader.front()) {
    TRACE(TR_ERROR,
          "Scanner::scan() : ERROR: The array reader stored at <arrayReader[0]> is NULL. Leaving "
          "method.");
    return NO_READER;
  }
  enterRoot();
  walkEntries();
  issueMessage(msg::AGT0144I, {std::to_string(m_total)});
  return m_rc;
}

// Opens the root's reader. False when it cannot be made.
bool Scanner::openRoot() {
  try {
    m_arrayReader.push_back(DirectoryReaderFactory::createDirectoryReader(this, 1));
    return true;
  } catch (const std::exception& error) {
    TRACE(
        TR_ERROR,
        "Scanner::scan() : ERROR: Caught LocalizableException in factory.newDirectoryReader() ... "
        "Exiting with rc = 8");
    TRACE(TR_ERROR, "%s", error.what());
    return false;
  }
}

void Scanner::enterRoot() {
  m_device = m_arrayReader.front()->stat(m_currentPath, m_info.get(), m_filesystem.fsType);
  m_rc = 0;
  if (m_currentPath.empty() || m_currentPath.back() != '/')
    m_currentPath += '/';
  if (m_device >= 0)
    accumulate();
  enterDirectory();
}

// The traversal loop: one entry, or one end of a directory, per round.
void Scanner::walkEntries() {
  m_snapshotDir = snapshotDirectory();
  while (m_level >= 0) {
    if (nextGood(m_filesystem.fsType))
      handleEntry();
    else
      leaveDirectory();
    checkFilesystem();
  }
}

void Scanner::handleEntry() {
  if (isSnapshot()) {
    TRACE(TR_MAX, "Scanner::scan() : Skipping the snapshot directory %s\n", m_info->faName.c_str());
    return;
  }
  if (m_info->faType != FT_FOREIGN)
    accumulate();
  if (m_info->faType == FT_DIRECTORY)
    advance();
  countEntry();
}

// Only directories at the top level are left out, and any whose path contains ".snapshot".
bool Scanner::isSnapshot() const {
  return m_level == 0 && m_info->faType == FT_DIRECTORY && !m_currentPath.empty() &&
         isSnapshotPath(m_info->faName);
}

bool Scanner::isSnapshotPath(const std::string& path) const {
  return (!m_snapshotDir.empty() && path == m_snapshotDir) ||
         path.find(".snapshot") != std::string::npos;
}

bool Scanner::isSnapshotName(std::string_view name) const {
  std::string path = m_rootPath;
  if (path.empty() || path.back() != '/')
    path += '/';
  return isSnapshotPath(path.append(name));
}

void Scanner::accumulate() {
  for (const std::uint16_t position : m_matching)
    m_actions[position].action->actUpon(this, m_info.get());
  if (m_watch != nullptr)
    m_watch->actUpon(this, m_info.get(), m_selectContext);
}

// Enters the directory that the current entry names.
void Scanner::advance() {
  TRACE_METHOD("advance()");
  if (!enterNextLevel() && m_watch != nullptr)
    m_watch->directoryNotEntered(m_info.get());
}

// Makes the current entry's directory the deepest open level. False when it is not entered.
bool Scanner::enterNextLevel() {
  if (m_level >= MAX_COMPONENTS - 1) {
    TRACE(TR_ERROR, "Scanner::advance() : level >= (MAX_COMPONENTS - 1): MAX_COMPONENTS = %d.",
          MAX_COMPONENTS);
    issueMessage(msg::STA0001E, {m_info->faName});
    return false;
  }
  const std::size_t parentLength = m_currentPath.size();
  m_currentPath = m_info->faName;
  ++m_level;
  try {
    auto reader = DirectoryReaderFactory::createDirectoryReader(this, 0);
    const auto slot = static_cast<std::size_t>(m_level);
    if (m_arrayReader.size() > slot)
      m_arrayReader[slot] = std::move(reader);
    else
      m_arrayReader.push_back(std::move(reader));
    enterDirectory();
    return true;
  } catch (const std::exception& error) {
    TRACE(TR_ERROR,
          "Scanner::advance() : ERROR: Caught LocalizableException in "
          "factory.newDirectoryReader()... Setting rc to 4");
    TRACE(TR_ERROR, "%s", error.what());
  } catch (GenericException* thrown) {
    const std::unique_ptr<GenericException> exception(thrown);
    issueMessage(exception->message(), exception->inserts());
  }
  decrementLevel(m_info->faName.substr(0, parentLength));
  return false;
}

void Scanner::enterDirectory() {
  for (const SelectedAction& selected : m_actions)
    selected.action->directoryEntered(m_info.get());
  if (m_watch != nullptr)
    m_watch->directoryEntered(m_info.get());
}

void Scanner::leaveDirectory() {
  for (const SelectedAction& selected : m_actions)
    selected.action->directoryLeft();
  if (m_watch != nullptr)
    m_watch->directoryLeft();
  --m_level;
}

// Gives up a level that could not be entered.
void Scanner::decrementLevel(const std::string& path) {
  m_rc = WALK_INCOMPLETE;
  --m_level;
  if (m_level < 0)
    TRACE(TR_ERROR,
          "Scanner::decrementLevel() : ERROR in <path = arrayReader[level]> since level < 0!");
  else
    m_currentPath = path;
}

// The next entry of the current level. A failed read counts once: the reader is asked again and is
// then at its end.
bool Scanner::nextGood(int fsType) {
  const auto level = static_cast<std::size_t>(m_level);
  for (;;) {
    if (level >= m_arrayReader.size()) {
      TRACE(TR_ERROR,
            "Scanner::nextGood() : ERROR: The <level> = %d is out of bounce of the <arrayReader> "
            "size "
            "= %zu. Leaving method.",
            m_level, m_arrayReader.size());
      return false;
    }
    if (!m_arrayReader[level]) {
      TRACE(TR_ERROR,
            "Scanner::nextGood() : ERROR: The DirectoryReader at <arrayReader [ %d ] > is NULL. "
            "Leaving method.",
            m_level);
      return false;
    }
    try {
      return m_arrayReader[level]->next(fsType);
    } catch (const LocalizableException& error) {
      TRACE(TR_ERROR,
            "Scanner::nextGood() : ERROR: Caught LocalizableException in array[%d].next(%i) ... "
            "Setting rc to 4",
            m_level, fsType);
      TRACE(TR_ERROR, "%s", error.what());
      m_rc = WALK_INCOMPLETE;
    }
  }
}

void Scanner::countEntry() {
  ++m_total;
  ++m_sinceReport;
  if (m_sinceReport <= PROGRESS_INTERVAL || naLog == nullptr)
    return;
  issueMessage(msg::AGT0143I, {std::to_string(m_total)});
  m_sinceReport = 0;
}

int Scanner::parentDirectoryFd() const noexcept {
  return m_level == 0 ? -1 : m_arrayReader[static_cast<std::size_t>(m_level) - 1]->directoryFd();
}

void Scanner::selectActions() {
  m_matching.clear();
  for (std::size_t i = 0; i < m_actions.size(); ++i) {
    const SelectNode* selection = m_actions[i].selection;
    if (selection == nullptr || selection->matches(*m_info, m_selectContext))
      m_matching.push_back(static_cast<std::uint16_t>(i));
  }
}

void Scanner::stepToParent() noexcept {
  std::string_view path = m_currentPath;
  if (path.size() > 1 && path.back() == '/')
    path.remove_suffix(1);
  if (path == m_rootPath)
    return;
  const auto slash = m_currentPath.rfind('/');
  if (slash != std::string::npos)
    m_currentPath.resize(slash == 0 ? 1 : slash);
}

void Scanner::ScannerFinishOffNextEntry(const std::string& path, const char* fileName) {
  if (fileName == nullptr) {
    TRACE(TR_MAX,
          "Scanner::ScannerFinishOffNextEntry() : ERROR: The parameter <fileName> is NULL. Leaving "
          "method.");
    return;
  }
  const std::string_view file(fileName);
  const std::size_t prefix = path.size() + (path.ends_with('/') ? 0 : 1);
  std::string& name = m_info->faName;
  name.resize(prefix + file.size());
  path.copy(name.data(), path.size());
  name[prefix - 1] = '/';
  file.copy(name.data() + prefix, file.size());
}

bool Scanner::ScannerInitOpen(const std::string& path, std::string& buffer,
                              std::size_t* pLength) const {
  if (pLength == nullptr) {
    TRACE(
        TR_MAX,
        "Scanner::ScannerInitOpen() : ERROR: one of the parameters <pPath> or <pLength> is NULL.");
    return false;
  }
  buffer.assign(path, 0, MAX_OPEN_PATH);
  *pLength = buffer.size();
  if (path.size() <= MAX_OPEN_PATH)
    return true;
  TRACE(
      TR_ERROR,
      "Scanner::ScannerInitOpen() : ERROR: Logging problem with STA0139W ... Path %s is too long.",
      buffer.c_str());
  issueMessage(msg::STA0139W, {buffer});
  return false;
}

void Scanner::ScannerInitStat(const std::string& path, FileRecord* file) const {
  if (file == nullptr) {
    TRACE(TR_MAX,
          "Scanner::ScannerInitStat() : ERROR: the parameter <file> is NULL. Leaving method.");
    return;
  }
  file->pathIsCut = path.size() > MAX_STAT_PATH;
  file->path.assign(path, 0, MAX_STAT_PATH);
  file->useOwnPath();
}

int Scanner::ScannerToUTF8(const char* in, char* out, int size) {
  if (in == nullptr || out == nullptr) {
    TRACE(TR_MAX,
          "Scanner::ScannerToUTF8() : ERROR: one of the parameters <in> or <out> is NULL. Leaving "
          "method.");
    return -1;
  }
  int needed = 0;
  bool full = false;
  for (; *in != '\0'; ++in) {
    const auto byte = static_cast<unsigned char>(*in);
    const int length = byte < 128 ? 1 : 2;
    full = full || needed + length > size;
    if (!full && length == 1) {
      out[needed] = static_cast<char>(byte);
    } else if (!full) {
      out[needed] = static_cast<char>(0xC0 | (byte >> 6));
      out[needed + 1] = static_cast<char>(0x80 | (byte & 0x3F));
    }
    needed += length;
  }
  if (needed < size)
    out[needed] = '\0';
  return needed;
}

}  // namespace orv
