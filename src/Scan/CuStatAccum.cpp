#include "Scan/CuStatAccum.h"

#include <algorithm>
#include <ctime>

#include "Common/ORVCommon/CommonAgentFactory.h"
#include "Probe/Filesystem.h"
#include "Scan/ComputerID.h"
#include "Scan/CuStatDef.h"
#include "Scan/FileAccum.h"
#include "Scan/FileTypeAccum.h"
#include "Scan/LargeDirAccum.h"
#include "Scan/SizeDistAccum.h"
#include "Scan/Statistics.h"
#include "Scan/SummaryAccum.h"
#include "Scan/TimeDistAccum.h"
#include "Scan/UserOrGroupAccum.h"
#include "common/ut/Trace.h"

namespace orv {
namespace {

// Deletes the element when it is of that class.
template <typename Concrete>
bool releaseAs(ListElement* element) {
  const Concrete* concrete = dynamic_cast<Concrete*>(element);
  delete concrete;
  return concrete != nullptr;
}

// The classes that a container makes and therefore may delete.
constexpr bool (*RELEASES[])(ListElement*) = {
    releaseAs<LargeFileAccum>,      releaseAs<OldFileAccum>,       releaseAs<VulnerableFileAccum>,
    releaseAs<LargestOrphansAccum>, releaseAs<OldestOrphansAccum>, releaseAs<UserOrGroupAccum>,
    releaseAs<SummaryAccum>,        releaseAs<SizeDistAccum>,      releaseAs<AccessedDistAccum>,
    releaseAs<ModifiedDistAccum>,   releaseAs<CreatedDistAccum>,   releaseAs<BackupDistAccum>,
    releaseAs<FileTypeAccum>,
};

}  // namespace

CuStatAccum::CuStatAccum() : FileAction("CuStatAccum") {
  TRACE_METHOD("CuStatAccum()");
}

CuStatAccum::~CuStatAccum() {
  releaseAccumulators();
}

void CuStatAccum::buildAccum(CuStatDef& def, Filesystem& fs) {
  TRACE_METHOD("buildAccum(...)");
  releaseInodeTableMap();
  releaseAccumulators();
  fs.fsComputerID = ComputerID::cachedCID.value_or(-1);
  const std::int64_t scanTime = static_cast<std::int64_t>(std::time(nullptr)) * 1000;
  m_results = std::make_unique<CuStatResults>();
  m_results->srID = def.sdID;
  m_depth = -1;
  if (def.sdLargestDirectories > 0)
    m_largeDirAccum = std::make_unique<LargeDirAccum>(def.sdLargestDirectories, fs);
  if (!CommonAgentFactory::getCommonAgent()->isWindows)
    def.sdGroupByCreation = false;  // the platform records no creation times
  const bool hasOwners = (def.sdGroupByOwner || def.sdGroupByGroup) && checkForFAT(def, fs) == 1;
  for (auto& accumulator : makeAccumulators({def, fs, *m_results, scanTime, hasOwners}))
    push(std::move(accumulator));
}

int CuStatAccum::checkForFAT(const CuStatDef&, const Filesystem& fs) {
  TRACE_METHOD("checkForFAT(...)");
  return CommonAgentFactory::getCommonAgent()->isWindows && Filesystem::isFAT(fs.fsType) ? 0 : 1;
}

void CuStatAccum::push(std::unique_ptr<Accumulator> accumulator) {
  m_calls.insert(m_calls.begin(), accumulator.get());
  accumulator->next = m_accumulators;
  m_accumulators = accumulator.release();
}

void CuStatAccum::actUpon(Scanner* pScanner, FileAttributes* pInfo) {
  TRACE_METHOD("actUpon(...)");
  if (pInfo == nullptr) {
    TRACE(TR_MAX, "The parameter FileAttributes <pInfo> is NULL. Leaving method.");
    return;
  }
  if (m_largeDirAccum)
    m_largeDirAccum->accumulate(pScanner, pInfo);
  if (pInfo->faLinkCount > 1 && isFirstName(*pInfo))
    return;
  for (Accumulator* accumulator : m_calls)
    accumulator->accumulate(pScanner, pInfo);
}

// Whether the entry is the first that this container sees of its inode.
bool CuStatAccum::isFirstName(const FileAttributes& info) {
  return m_inodeTable.insert(Inode{static_cast<std::int64_t>(info.faInodeNumber)});
}

void CuStatAccum::directoryEntered(FileAttributes* pDirInfo) {
  TRACE_METHOD("directoryEntered(...)");
  if (m_largeDirAccum)
    m_largeDirAccum->newDirectory(pDirInfo);
  ++m_depth;
}

void CuStatAccum::directoryLeft() {
  TRACE_METHOD("directoryLeft()");
  if (m_largeDirAccum)
    m_largeDirAccum->leaveDirectory();
  if (--m_depth < 0)
    finish();
}

void CuStatAccum::finish() {
  if (m_largeDirAccum)
    m_largeDirAccum->finish(m_results.get());
  for (Accumulator* accumulator : m_calls)
    accumulator->finish(m_results.get());
  releaseInodeTableMap();  // links are matched within one tree
}

std::unique_ptr<CuStatResults> CuStatAccum::takeResults() noexcept {
  return std::move(m_results);
}

void CuStatAccum::releaseAccumulators() {
  TRACE_METHOD("releaseAccumulators()");
  m_calls.clear();
  while (m_accumulators != nullptr) {
    ListElement* element = m_accumulators;
    m_accumulators = element->next;
    if (std::none_of(std::begin(RELEASES), std::end(RELEASES),
                     [element](auto release) { return release(element); }))
      TRACE(TR_MAX, "WARNING: Unknown <Accumulator*> reference. Object can not be deleted.");
  }
  m_largeDirAccum.reset();
}

void CuStatAccum::releaseInodeTableMap() {
  TRACE_METHOD("releaseInodeTableMap()");
  m_inodeTable.clear();
}

}  // namespace orv
