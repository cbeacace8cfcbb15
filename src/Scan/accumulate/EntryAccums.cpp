#include "Scan/accumulate/EntryAccums.h"

#include <algorithm>
#include <limits>

#include "Probe/Filesystem.h"
#include "Scan/accumulate/PartState.h"
#include "Scan/results/CuStatResults.h"
#include "Scan/walk/Place.h"
#include "Scan/walk/Scanner.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

// Minus `time`, so that the older ranks higher; the earliest time has no negative of its own.
std::int64_t olderFirst(std::int64_t time) noexcept {
  return -std::max(time, -std::numeric_limits<std::int64_t>::max());
}

bool isOrphan(const FileAttributes& info) noexcept {
  return (info.faAttributes & FA_ORPHAN) != 0;
}

// An entry that is no regular file pushes the largest size down without taking its place: required
// of the figures as readers know them.
void noteLargest(SDirectory& directory, const FileAttributes& info) noexcept {
  const std::int64_t length = info.faLength;
  const bool takesPlace = info.faType == FT_REGULAR;
  // Neither place changes: nearly every entry.
  if (length <= directory.dir2ndLargestSize)
    return;
  if (length > directory.dirLargestSize) {
    directory.dir2ndLargestSize = directory.dirLargestSize;
    if (takesPlace)
      directory.dirLargestSize = length;
  } else if (takesPlace) {
    directory.dir2ndLargestSize = length;
  }
}

}  // namespace

FileAccum::FileAccum(const char* name, std::int32_t nMaxToRetain)
    : Accumulator(name), m_most(std::make_unique<NMost<SFile>>(nMaxToRetain)) {
  TRACE(TR_MAX, "FileAccum::FileAccum() : <nMaxToRetain> set to %d.", nMaxToRetain);
}

void FileAccum::add(Scanner* pScanner, FileAttributes* pInfo, std::int64_t key, FileStatKind kind) {
  // The key decides before the type: once a ranking is full nearly every entry ends here.
  if (pScanner == nullptr || pInfo == nullptr || !m_most || !m_most->mustAdd(key, pInfo->faPlace))
    return;
  if (pInfo->faType != FT_REGULAR && pInfo->faType != FT_SYMLINK)
    return;
  // A recycled record keeps its buffers, so a full ranking copies a path without allocating.
  std::unique_ptr<SFile> file = m_most->blank();
  static_cast<FileAttributes&>(*file) = *pInfo;
  file->sfFilesystemID = pScanner->filesystem().fsID;
  // The record tells which ranking it stands in: all of them share its form.
  file->sfStatType = kind;
  m_most->add(std::move(file));
}

void FileAccum::finish(CuStatResults* results) {
  TRACE_METHOD("finish(...)");
  if (results == nullptr || !m_most)
    return;
  // The profile's identifier is known by the results only.
  const auto complete = [results](SFile& file) { file.sfStatisticID = results->srID; };
  store(*results, m_most->takeChain(complete));
  // Marks the accumulator as finished: a second call must not empty the slot.
  m_most.reset();
}

void FileAccum::save(RowSink& sink) const {
  m_most->forEach([&](const SFile& file) { sink.row({}, {}, {}, &file); });
}

void FileAccum::absorb(Scanner& scanner, const StateRow& row) {
  // As if it were met now: what ranks among all ranked in its own part.
  FileAttributes info = row.entry;
  accumulate(&scanner, &info);
}

LargeFileAccum::LargeFileAccum(std::int32_t nMaxToRetain)
    : FileAccum("LargeFileAccum", nMaxToRetain) {}

void LargeFileAccum::accumulate(Scanner* pScanner, FileAttributes* pInfo) {
  TRACE_METHOD("accumulate(...)");
  if (!areGiven(pScanner, pInfo))
    return;
  const bool inBlocks = Filesystem::isFAT(pScanner->filesystem().fsType);
  const std::int64_t size = inBlocks ? pInfo->faBlocks : pInfo->faLength;
  // Cut to 32 bits, deliberately: 2 GiB and more may rank too low or be missing, and reports say
  // so.
  add(pScanner, pInfo, static_cast<std::int32_t>(size), SF_LARGEST_FILES);
}

void LargeFileAccum::store(CuStatResults& results, RecordChain<SFile> head) {
  results.srLargestFiles = std::move(head);
}

OldFileAccum::OldFileAccum(std::int32_t nMaxToRetain) : FileAccum("OldFileAccum", nMaxToRetain) {}

void OldFileAccum::accumulate(Scanner* pScanner, FileAttributes* pInfo) {
  TRACE_METHOD("accumulate(...)");
  if (areGiven(pScanner, pInfo))
    add(pScanner, pInfo, olderFirst(pInfo->faAccessed), SF_LEAST_ACCESSED);
}

void OldFileAccum::store(CuStatResults& results, RecordChain<SFile> head) {
  results.srLeastAccessed = std::move(head);
}

VulnerableFileAccum::VulnerableFileAccum(std::int32_t nMaxToRetain)
    : FileAccum("VulnerableFileAccum", nMaxToRetain) {}

void VulnerableFileAccum::accumulate(Scanner* pScanner, FileAttributes* pInfo) {
  TRACE_METHOD("accumulate(...)");
  if (areGiven(pScanner, pInfo) && (pInfo->faAttributes & FA_ARCHIVE) != 0 &&
      pInfo->faType != FT_DIRECTORY)
    add(pScanner, pInfo, olderFirst(pInfo->faModified), SF_OLDEST_NOT_BACKED_UP);
}

void VulnerableFileAccum::store(CuStatResults& results, RecordChain<SFile> head) {
  results.srOldestNotBackedUp = std::move(head);
}

LargestOrphansAccum::LargestOrphansAccum(std::int32_t nMaxToRetain)
    : FileAccum("LargestOrphansAccum", nMaxToRetain) {}

void LargestOrphansAccum::accumulate(Scanner* pScanner, FileAttributes* pInfo) {
  TRACE_METHOD("accumulate(...)");
  if (areGiven(pScanner, pInfo) && isOrphan(*pInfo))
    add(pScanner, pInfo, pInfo->faLength, SF_LARGEST_ORPHANS);
}

void LargestOrphansAccum::store(CuStatResults& results, RecordChain<SFile> head) {
  results.srLargestOrphans = std::move(head);
}

OldestOrphansAccum::OldestOrphansAccum(std::int32_t nMaxToRetain)
    : FileAccum("OldestOrphansAccum", nMaxToRetain) {}

void OldestOrphansAccum::accumulate(Scanner* pScanner, FileAttributes* pInfo) {
  TRACE_METHOD("accumulate(...)");
  if (areGiven(pScanner, pInfo) && isOrphan(*pInfo))
    add(pScanner, pInfo, olderFirst(pInfo->faAccessed), SF_OLDEST_ORPHANS);
}

void OldestOrphansAccum::store(CuStatResults& results, RecordChain<SFile> head) {
  results.srOldestOrphans = std::move(head);
}

LargeDirAccum::LargeDirAccum(std::int32_t nMaxToRetain, const Filesystem& filesystem)
    : Accumulator("LargeDirAccum"),
      m_filesystem(filesystem),
      m_most(std::make_unique<NMost<SDirectory>>(nMaxToRetain)) {}

LargeDirAccum::~LargeDirAccum() = default;

void LargeDirAccum::newDirectory(FileAttributes* pDirInfo) {
  TRACE_METHOD("newDirectory(...)");
  if (pDirInfo == nullptr) {
    TRACE(TR_MAX, "The parameter FileAttributes <pDirInfo> is NULL. Leaving method.");
    return;
  }
  auto directory = std::make_unique<SDirectory>();
  static_cast<FileAttributes&>(*directory) = *pDirInfo;
  directory->dirFilesystemID = m_filesystem.fsID;
  // The directory above stays open below it: entries of a subdirectory are never added to it.
  m_open.pushFront(std::move(directory));
}

void LargeDirAccum::leaveDirectory() {
  TRACE_METHOD("leaveDirectory()");
  // The innermost: directories are left in the reverse of the order in which they are entered.
  std::unique_ptr<SDirectory> directory = m_open.popFront();
  if (!directory || !m_most)
    return;
  // Directories are met, for the ranking, when they are left.
  if (!directory->faPlace.empty())
    directory->faPlace += place::BEHIND;
  offer(std::move(directory));
}

// A directory that ranks nowhere is dropped at once; memory follows the depth, not the tree.
void LargeDirAccum::offer(std::unique_ptr<SDirectory> directory) {
  if (m_most->mustAdd(directory->dirTotalSize, directory->faPlace))
    m_most->add(std::move(directory));
}

void LargeDirAccum::save(RowSink& sink) const {
  m_most->forEach([&](const SDirectory& directory) {
    std::vector<std::int64_t> figures = {directory.dirFileCount, directory.dirDirectoryCount,
                                         directory.dirTotalSize, directory.dirLargestSize,
                                         directory.dir2ndLargestSize};
    figures.insert(figures.end(), directory.dirSizes.begin(), directory.dirSizes.end());
    figures.insert(figures.end(), directory.dirCounts.begin(), directory.dirCounts.end());
    sink.row({}, {}, figures, &directory);
  });
}

void LargeDirAccum::absorb(Scanner&, const StateRow& row) {
  // From its figures and not by its entries: those were counted where they were walked.
  auto directory = std::make_unique<SDirectory>();
  static_cast<FileAttributes&>(*directory) = row.entry;
  directory->dirFilesystemID = m_filesystem.fsID;
  FigureReader figures(row);
  directory->dirFileCount = static_cast<std::uint32_t>(figures.next());
  directory->dirDirectoryCount = static_cast<std::uint32_t>(figures.next());
  directory->dirTotalSize = figures.next();
  directory->dirLargestSize = figures.next();
  directory->dir2ndLargestSize = figures.next();
  for (std::int64_t& size : directory->dirSizes)
    size = figures.next();
  for (std::uint32_t& count : directory->dirCounts)
    count = static_cast<std::uint32_t>(figures.next());
  offer(std::move(directory));
}

void LargeDirAccum::accumulate(Scanner* pScanner, FileAttributes* pInfo) {
  TRACE_METHOD("accumulate(...)");
  SDirectory* directory = m_open.head();
  if (!areGiven(pScanner, pInfo) || directory == nullptr)
    return;
  if (pInfo->faType == FT_REGULAR || pInfo->faType == FT_SYMLINK)
    ++directory->dirFileCount;
  else if (pInfo->faType == FT_DIRECTORY)
    ++directory->dirDirectoryCount;
  addSaturating(directory->dirTotalSize, pInfo->faLength);
  noteLargest(*directory, *pInfo);
  const std::size_t bucket = SizeRanges::bucket(pInfo->faLength);
  addSaturating(directory->dirSizes[bucket], pInfo->faLength);
  ++directory->dirCounts[bucket];
}

void LargeDirAccum::finish(CuStatResults* results) {
  TRACE_METHOD("finish(...)");
  // A walk that ended early leaves directories open whose totals would be wrong.
  m_open.clear();
  if (results == nullptr || !m_most)
    return;
  results->srLargestDirectories = m_most->takeChain(
      [results](SDirectory& directory) { directory.dirStatisticID = results->srID; });
  m_most.reset();
}

}  // namespace orv
