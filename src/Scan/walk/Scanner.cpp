#include "Scan/walk/Scanner.h"

#include <cerrno>
#include <ctime>
#include <new>

#include "Scan/walk/DirectoryReader.h"
#include "Scan/walk/FileAction.h"
#include "Scan/walk/Place.h"
#include "Scan/walk/WalkPart.h"
#include "runtime/nls/MessageLog.h"
#include "runtime/unx/ProgressPage.h"
#include "runtime/ut/ORVException.h"
#include "runtime/ut/ScanPaths.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

constexpr int WALK_FAILED = 8;
constexpr int WALK_INCOMPLETE = 4;
constexpr int NO_READER = -1;
// The message names a round number of entries, so the interval is one less than that.
constexpr std::int64_t PROGRESS_INTERVAL = 99'999;

std::string_view nameOf(const std::string& path) {
  return std::string_view(path).substr(path.rfind('/') + 1);
}

}  // namespace

Scanner::Scanner(Filesystem& filesystem, std::vector<SelectedAction> actions, UserTable& users,
                 FileTypeTable& fileTypes)
    : m_filesystem(filesystem),
      m_actions(std::move(actions)),
      m_users(users),
      m_fileTypes(fileTypes) {
  m_state.rules.rootPath = withoutTrailingSlash(filesystem.fsMountPoint);
  m_state.path = filesystem.fsMountPoint;
  m_state.file.scanner = this;
  // No more can match: selecting the actions of an entry never allocates.
  m_matching.reserve(m_actions.size());
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
  } catch (const std::bad_alloc&) {
    // Statistics that a directory or an entry reached in part only cannot be trusted.
    issueMessage(msg::STA0559E, {m_filesystem.fsMountPoint, errnoText(ENOMEM)});
    return WALK_FAILED;
  }
}

int Scanner::walk() {
  if (m_part != nullptr && !beginPart())
    return m_rc;
  // The root is opened before the clock is read: the scan starts when there is something to scan.
  if (!openRoot())
    return WALK_FAILED;
  if (m_part == nullptr) {
    m_selectContext.scanStart = std::time(nullptr);
    m_filesystem.fsScanTime = m_selectContext.scanStart * 1000;
    m_state.info = std::make_unique<FileAttributes>();
    m_state.info->faName = m_state.path;
  }
  if (!m_arrayReader.back()) {
    TRACE(TR_ERROR,
          "Scanner::scan() : ERROR: The array reader stored at <arrayReader[0]> is NULL. Leaving "
          "method.");
    return NO_READER;
  }
  enterRoot();
  walkEntries();
  if (m_part != nullptr)
    m_part->asked = m_entry;
  else
    issueMessage(msg::AGT0144I, {std::to_string(m_total)});
  // One message for all of them: each would name a path that no message can hold.
  if (m_leftOut > 0) {
    issueMessage(msg::STA0140W, {m_filesystem.fsMountPoint, std::to_string(m_leftOut)});
    m_rc = WALK_INCOMPLETE;
  }
  return m_rc;
}

// Opens the root's reader. False when it cannot be made.
bool Scanner::openRoot() {
  showDirectory();
  try {
    // Of all levels: a reader that found no place would take along what is read ahead below it.
    m_arrayReader.reserve(MAX_COMPONENTS + 1);
    m_arrayReader.push_back(makeReader(1));
    return true;
  } catch (const std::bad_alloc&) {
    throw;  // which is reported
  } catch (const std::exception& error) {
    TRACE(
        TR_ERROR,
        "Scanner::scan() : ERROR: Caught LocalizableException in factory.newDirectoryReader() ... "
        "Exiting with rc = 8");
    TRACE(TR_ERROR, "%s", error.what());
    return false;
  }
}

void Scanner::setPart(WalkPart& part) {
  m_part = &part;
  m_selectContext.scanStart = part.scanStart;
  m_filesystem.fsScanTime = part.scanStart * 1000;
  // Selections remember the number of the entry that they were asked about last.
  m_entry = part.asked;
  m_state.info = std::make_unique<FileAttributes>(part.root());
  m_firstLevel = place::levelOf(part.root().faPlace);
  m_places.resize(static_cast<std::size_t>(m_firstLevel) + 1);
  m_places.back().place = part.root().faPlace;
  if (m_firstLevel == 0) {
    m_state.info->faName = m_state.path;
    return;
  }
  m_state.level = m_firstLevel;
  m_state.path = part.root().faName;
  m_arrayReader.resize(static_cast<std::size_t>(m_firstLevel));
  m_total = 0;
}

int Scanner::openAbovePart(const std::string& /*path*/, int& /*directory*/) {
  return ENOTSUP;
}

// Comes to where the part begins. False when nobody does any more: then what the directory holds
// is as unknown as that of one that cannot be opened, and reported likewise.
bool Scanner::beginPart() {
  if (m_firstLevel == 0)
    return true;
  const int error = openAbovePart(m_state.path, m_abovePart);
  if (error == 0)
    return true;
  noteFailure(error);
  issueMessage(msg::STA0121E, {m_state.path, errnoText(error)});
  enterDirectory();
  leaveDirectory();
  return false;
}

void Scanner::enterRoot() {
  if (m_firstLevel > 0) {
    // Its record was made, and counted, by the walk that left it.
    enterDirectory();
    return;
  }
  checkRoot(m_arrayReader.front()->directoryFd());
  m_state.rules.device =
      m_arrayReader.front()->stat(m_state.path, m_state.info.get(), m_filesystem.fsType);
  // Nothing below could be told from other filesystems: all figures would be 0.
  if (m_state.rules.device < 0)
    throw new GenericException(
        msg::STA0529E,
        {m_filesystem.fsMountPoint, "examine its root: " + errnoText(m_state.file.error)});
  // Only now: the root was examined under the name that the definition gives it.
  if (m_state.path.empty() || m_state.path.back() != '/')
    m_state.path += '/';
  accumulate();
  enterDirectory();
}

// The traversal loop: one entry, or one end of a directory, per round.
void Scanner::walkEntries() {
  m_state.rules.snapshotPath = snapshotDirectory();
  // Leaving the top directory ends the loop, so every directory that was entered is also left.
  while (m_state.level >= m_firstLevel) {
    if (nextGood(m_filesystem.fsType))
      handleEntry();
    else
      leaveDirectory();
    checkFilesystem();
  }
}

void Scanner::handleEntry() {
  const FileAttributes& info = *m_state.info;
  const bool isDirectory = info.faType == FT_DIRECTORY;
  const Passage passage =
      isDirectory ? m_state.rules.passageOf(m_state.level, nameOf(info.faName)) : Passage::ENTERED;
  // Neither counted nor entered: a snapshot holds the same files again.
  if (passage == Passage::LEFT_OUT) {
    TRACE(TR_MAX, "Scanner::scan() : Skipping the snapshot directory %s\n", info.faName.c_str());
    return;
  }
  // Another filesystem's entry is counted below and nothing else: its figures are that one's.
  if (info.faType != FT_FOREIGN)
    accumulate();
  else
    noteForeign();
  if (isDirectory)
    advance(passage);
  countEntry();
}

// A subvolume stands in no mount table: nobody could tell later what the figures leave out.
void Scanner::noteForeign() {
  const FileRecord& file = m_state.file;
  const bool isExamined = file.error == 0 && !m_state.rules.isOwn(file.st.device);
  std::int64_t& foreign = m_part == nullptr ? m_foreign : m_part->foreign;
  if (isExamined && S_ISDIR(file.st.mode) && ++foreign <= MAX_FOREIGN_SHOWN)
    issueMessage(msg::STA0533I, {m_state.info->faName});
}

void Scanner::accumulate() {
  for (const std::uint16_t position : m_matching)
    m_actions[position].action->actUpon(this, m_state.info.get());
}

// Enters the directory that the current entry names.
void Scanner::advance(Passage passage) {
  TRACE_METHOD("advance()");
  if (m_part != nullptr && passage == Passage::ENTERED &&
      !m_part->mayEnter(*m_state.info, m_total)) {
    leaveOver();
    return;
  }
  if (enterNextLevel(passage))
    return;
  for (const SelectedAction& selected : m_actions)
    selected.action->directoryNotEntered(m_state.info.get());
}

// Makes the current entry's directory the deepest open level. False when it is not entered. Only
// making the reader may fail so: a directory that an action has been told of is also left.
bool Scanner::enterNextLevel(Passage passage) {
  if (passage == Passage::TOO_DEEP) {
    TRACE(TR_ERROR, "Scanner::advance() : level >= (MAX_COMPONENTS - 1): MAX_COMPONENTS = %d.",
          MAX_COMPONENTS);
    issueMessage(msg::STA0001E, {m_state.info->faName});
    return false;
  }
  // Enough to restore the path: the parent's is the start of every path below it.
  const std::size_t parentLength = m_state.path.size();
  m_state.path = m_state.info->faName;
  ++m_state.level;
  showDirectory();
  try {
    auto reader = makeReader(0);
    const auto slot = static_cast<std::size_t>(m_state.level);
    // A level keeps the reader of the directory that was left until the next one is entered there;
    // its stream was closed at its end.
    if (m_arrayReader.size() > slot)
      m_arrayReader[slot] = std::move(reader);
    else
      m_arrayReader.push_back(std::move(reader));
  } catch (const std::exception& error) {
    TRACE(TR_ERROR,
          "Scanner::advance() : ERROR: Caught LocalizableException in "
          "factory.newDirectoryReader()... Setting rc to 4");
    TRACE(TR_ERROR, "%s", error.what());
    issueMessage(msg::STA0121E, {m_state.path, error.what()});
    decrementLevel(m_state.info->faName.substr(0, parentLength));
    return false;
  } catch (GenericException* thrown) {
    const std::unique_ptr<GenericException> exception(thrown);
    issueMessage(exception->message(), exception->inserts());
    decrementLevel(m_state.info->faName.substr(0, parentLength));
    return false;
  }
  if (m_part != nullptr) {
    m_places.resize(static_cast<std::size_t>(m_state.level));
    m_places.push_back({m_state.info->faPlace});
  }
  enterDirectory();
  return true;
}

void Scanner::leaveOver() {
  for (const SelectedAction& selected : m_actions)
    selected.action->directoryLeftOver(m_state.info.get());
  m_part->leaveOver(*m_state.info);
}

// Called when an entry was named, before anything is found out about it.
void Scanner::notePlace() {
  Level& level = m_places[static_cast<std::size_t>(m_state.level)];
  m_state.info->faPlace = level.place;
  place::append(m_state.info->faPlace, level.next++);
}

void Scanner::noteFailure(int error) noexcept {
  // These say nothing of the entry: on another day the same tree would have been read.
  if (error == EMFILE || error == ENFILE || error == ENOMEM)
    m_rc = WALK_INCOMPLETE;
}

void Scanner::enterDirectory() {
  for (const SelectedAction& selected : m_actions)
    selected.action->directoryEntered(m_state.info.get());
}

void Scanner::leaveDirectory() {
  for (const SelectedAction& selected : m_actions)
    selected.action->directoryLeft();
  --m_state.level;
}

// Gives up a level that could not be entered.
void Scanner::decrementLevel(const std::string& path) {
  m_rc = WALK_INCOMPLETE;
  --m_state.level;
  if (m_state.level < 0)
    TRACE(TR_ERROR,
          "Scanner::decrementLevel() : ERROR in <path = arrayReader[level]> since level < 0!");
  else
    m_state.path = path;
}

// The next entry of the current level. A failed read counts once: the reader is asked again and is
// then at its end.
bool Scanner::nextGood(int fsType) {
  const auto level = static_cast<std::size_t>(m_state.level);
  for (;;) {
    // Neither of the two happens to a walk that opened its root; should it, the walk ends here.
    if (level >= m_arrayReader.size()) {
      TRACE(TR_ERROR,
            "Scanner::nextGood() : ERROR: The <level> = %d is out of bounce of the <arrayReader> "
            "size "
            "= %zu. Leaving method.",
            m_state.level, m_arrayReader.size());
      return false;
    }
    if (!m_arrayReader[level]) {
      TRACE(TR_ERROR,
            "Scanner::nextGood() : ERROR: The DirectoryReader at <arrayReader [ %d ] > is NULL. "
            "Leaving method.",
            m_state.level);
      return false;
    }
    try {
      return m_arrayReader[level]->next(fsType);
    } catch (const LocalizableException& error) {
      TRACE(TR_ERROR,
            "Scanner::nextGood() : ERROR: Caught LocalizableException in array[%d].next(%i) ... "
            "Setting rc to 4",
            m_state.level, fsType);
      TRACE(TR_ERROR, "%s", error.what());
      m_rc = WALK_INCOMPLETE;
    }
  }
}

// Before the directory is opened: what never answers is shown, too.
void Scanner::showDirectory() const noexcept {
  if (m_progress != nullptr)
    m_progress->directoryEntered(m_state.path);
}

void Scanner::countEntry() {
  if (m_progress != nullptr)
    m_progress->entryMet();
  ++m_total;
  ++m_sinceReport;
  if (m_sinceReport > PROGRESS_INTERVAL)
    reportProgress();
}

void Scanner::reportProgress() {
  if (naLog == nullptr || m_part != nullptr)
    return;
  issueMessage(msg::AGT0143I, {std::to_string(m_total)});
  // 0 and not 1: the first report comes after 99,999 entries below the root, the others every
  // 100,000.
  m_sinceReport = 0;
}

int Scanner::parentDirectoryFd() const noexcept {
  return m_state.level == m_firstLevel
             ? m_abovePart
             : m_arrayReader[static_cast<std::size_t>(m_state.level) - 1]->directoryFd();
}

void Scanner::selectActions() {
  // A new number makes every selection forget its last answer.
  ++m_entry;
  m_matching.clear();
  for (std::size_t i = 0; i < m_actions.size(); ++i)
    if (admits(m_actions[i].selection))
      m_matching.push_back(static_cast<std::uint16_t>(i));
}

bool Scanner::admits(EntrySelection* selection) const {
  if (selection == nullptr || selection->m_node == nullptr)
    return true;
  // Two actions may share a clause: a profile of filesystems and of monitored directories.
  if (selection->m_entry != m_entry) {
    selection->m_entry = m_entry;
    selection->m_admits = selection->m_node->matches(*m_state.info, m_selectContext);
  }
  return selection->m_admits;
}

void WalkState::stepToParent() noexcept {
  // The scan root may be a path of many components: above it nothing belongs to the walk.
  if (withoutTrailingSlash(path) == rules.rootPath)
    return;
  const auto slash = path.rfind('/');
  if (slash != std::string::npos)
    path.resize(slash == 0 ? 1 : slash);
}

void Scanner::ScannerFinishOffNextEntry(const std::string& path, const char* fileName) {
  if (fileName == nullptr) {
    TRACE(TR_MAX,
          "Scanner::ScannerFinishOffNextEntry() : ERROR: The parameter <fileName> is NULL. Leaving "
          "method.");
    return;
  }
  // Written in place: the name's buffer has grown to the longest path after a few entries.
  const std::string_view file(fileName);
  const std::size_t prefix = path.size() + (path.ends_with('/') ? 0 : 1);
  std::string& name = m_state.info->faName;
  name.resize(prefix + file.size());
  path.copy(name.data(), path.size());
  name[prefix - 1] = '/';
  file.copy(name.data() + prefix, file.size());
  if (m_part != nullptr)
    notePlace();
}

bool Scanner::ScannerInitOpen(const std::string& path, std::string& buffer,
                              std::size_t* pLength) const {
  if (pLength == nullptr) {
    TRACE(
        TR_MAX,
        "Scanner::ScannerInitOpen() : ERROR: one of the parameters <pPath> or <pLength> is NULL.");
    return false;
  }
  // The message shows what fits: nobody could use a longer one either.
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
  // Cut rather than refused: the examination says that the path is too long, in its own place.
  file->useOwnPath();
}

int Scanner::ScannerToUTF8(const char* in, char* out, int size) {
  if (in == nullptr || out == nullptr) {
    TRACE(TR_MAX,
          "Scanner::ScannerToUTF8() : ERROR: one of the parameters <in> or <out> is NULL. Leaving "
          "method.");
    return -1;
  }
  // Counted on when the room is used up: the result tells the caller how much to provide.
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
