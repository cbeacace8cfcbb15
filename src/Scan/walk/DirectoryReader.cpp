#include "Scan/walk/DirectoryReader.h"

#include "Scan/entry/FileAttributes.h"
#include "Scan/entry/UserTable.h"
#include "Scan/walk/FileRecord.h"
#include "Scan/walk/Scanner.h"
#include "runtime/ut/ORVException.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

bool endsTheWalkOfItsDirectory(const GenericException& exception) {
  return exception.number() == msg::STA0529E.number || exception.number() == msg::STA0530E.number;
}

// A file may be dated further away than milliseconds count.
std::int64_t milliseconds(std::int64_t seconds) noexcept {
  std::int64_t result = 0;
  if (__builtin_mul_overflow(seconds, 1000, &result)) [[unlikely]]
    return seconds < 0 ? INT64_MIN : INT64_MAX;
  return result;
}

}  // namespace

void DirectoryReader::init(Scanner* pScanner, int fsType) {
  TRACE_METHOD("init(...)");
  if (pScanner == nullptr) {
    TRACE(TR_MAX, "DirectoryReader::init() : ERROR: Parameter <pScanner> is NULL. Leaving method.");
    return;
  }
  m_scanner = pScanner;
  m_walk = &pScanner->m_state;
  TRACE(TR_GENERAL, "opening %s, argument %d", m_walk->path.c_str(), fsType);
  try {
    // A directory that cannot be opened leaves a reader without a handle: one that is at its end.
    setHandle(open(m_walk->path));
  } catch (GenericException* thrown) {
    std::unique_ptr<GenericException> exception(thrown);
    TRACE(TR_ERROR, "DirectoryReader::init() : ERROR: %s ", exception->subject().c_str());
    // These two mean that the filesystem itself does not answer: the walk decides what becomes of
    // it.
    if (endsTheWalkOfItsDirectory(*exception))
      throw exception.release();
    issueMessage(exception->message(), exception->inserts());
  }
}

bool DirectoryReader::next(int fsType) {
  TRACE_METHOD("next(...)");
  bool found = false;
  try {
    found = nextEntry(m_walk->path, getHandle(), fsType);
  } catch (GenericException* thrown) {
    const std::unique_ptr<GenericException> exception(thrown);
    TRACE(TR_ERROR,
          "DirectoryReader::next() : ERROR: Caught GenericException in native nextEntry() on  ... "
          "setting result to FALSE");
    TRACE(TR_ERROR, "EXCEPTION: ID: %s", exception->id());
    issueMessage(exception->message(), exception->inserts());
    // The directory has no further entries; what was read of it stays counted.
    abandon();
  }
  if (!found)
    return false;
  // What could not be examined is marked like an entry of another filesystem.
  if (!m_walk->rules.isOwn(examine(fsType)))
    m_walk->info->faType = FT_FOREIGN;
  return true;
}

std::int64_t DirectoryReader::examine(int fsType) {
  FileAttributes& info = *m_walk->info;
  try {
    return stat(m_walk->path, &info, fsType);
  } catch (GenericException* thrown) {
    const std::unique_ptr<GenericException> exception(thrown);
    // Both are warnings of one entry; the one names what the platform's rights forbid.
    if (exception->number() == msg::STA0135W.number) {
      TRACE(
          TR_ERROR,
          "Caught Exception from DirectoryReader::StatFile() : ERROR: Cannot get security info for "
          "%s ",
          info.faName.c_str());
      issueMessage(msg::STA0135W, exception->inserts());
    } else {
      TRACE(TR_ERROR,
            "DirectoryReader::next() : ERROR: Caught GenericException in native stat() '%s'.",
            info.faName.c_str());
      issueMessage(msg::STA0069W, exception->inserts());
    }
  }
  return -1;
}

void DirectoryReader::ScannerFinishOffStat(FileAttributes* info, FileRecord* file) {
  if (info == nullptr || file == nullptr) {
    TRACE(
        TR_MAX,
        "DirectoryReader::ScannerFinishOffStat() : ERROR: Either input parameter <info> or <file> "
        "is NULL.");
    return;
  }
  const EntryStat& st = file->st;
  UserTable& users = m_scanner->m_users;
  file->scanner = m_scanner;
  info->faType = file->type;
  info->ownerId = st.uid;
  info->groupId = st.gid;
  info->faOwner = users.find(Sid(st.uid), false);
  // An orphan is what has no owner: a group that is gone makes none.
  if (info->faOwner->ugRemoved)
    file->attributes |= FA_ORPHAN;
  info->faAttributes = file->attributes;
  info->faGroup = users.find(Sid(st.gid), true);
  info->faLength = st.size;
  // What has no data of its own has no blocks, whatever the filesystem says.
  info->faBlocks = file->type > FT_DIRECTORY ? 0 : st.blocks;
  info->faLinkCount = st.linkCount;
  info->faInodeNumber = st.inode;
  info->faModified = milliseconds(st.modified);
  info->faAccessed = milliseconds(st.accessed);
  // Last: clauses look at everything that was filled above.
  m_scanner->selectActions();
}

}  // namespace orv
