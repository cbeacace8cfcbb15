#include "Scan/accumulate/LargeDirAccum.h"

#include "Probe/Filesystem.h"
#include "Scan/accumulate/Accumulator.h"
#include "Scan/results/CuStatResults.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

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
  std::unique_ptr<SDirectory> directory = m_open.popFront();
  // A directory that ranks nowhere is dropped at once; memory follows the depth, not the tree.
  if (directory && m_most && m_most->mustAdd(directory->dirTotalSize))
    m_most->add(std::move(directory));
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
