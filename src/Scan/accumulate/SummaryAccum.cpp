#include "Scan/accumulate/SummaryAccum.h"

#include "Scan/accumulate/Accumulator.h"
#include "Scan/entry/FileAttributes.h"
#include "Scan/results/CuStatResults.h"
#include "Scan/results/DistributionRecords.h"
#include "runtime/ut/Trace.h"

namespace orv {

SummaryAccum::SummaryAccum(SSummary* record) : Accumulator("SummaryAccum"), m_pSSummary(record) {}

void SummaryAccum::accumulate(Scanner* pScanner, FileAttributes* pInfo) {
  TRACE_METHOD("accumulate(...)");
  if (!areGiven(pScanner, pInfo))
    return;
  if (pInfo->faType == FT_REGULAR || pInfo->faType == FT_SYMLINK)
    ++m_pSSummary->sumFileCount;
  else if (pInfo->faType == FT_DIRECTORY)
    ++m_pSSummary->sumDirectoryCount;
  addSaturating(m_pSSummary->sumTotalSize, pInfo->faLength);
}

void SummaryAccum::finish(CuStatResults* results) {
  TRACE_METHOD("finish(...)");
  if (results == nullptr) {
    TRACE(TR_MAX, "ERROR: The parameter CuStatResults <results> is NULL. Leaving method.");
    return;
  }
  if (m_pSSummary == results->srSummary.get())
    return;
  TRACE(TR_MAX,
        "WARNING: The references <m_pSSummary> and <results->srSummary> are not equal, but should "
        "be! Copying result values.");
  if (results->srSummary)
    *m_pSSummary = *results->srSummary;
}

SizeDistAccum::SizeDistAccum(SSizeDist* record) : Accumulator("SizeDistAccum"), m_record(record) {}

void SizeDistAccum::accumulate(Scanner* pScanner, FileAttributes* pInfo) {
  TRACE_METHOD("accumulate(...)");
  if (!areGiven(pScanner, pInfo))
    return;
  const std::size_t bucket = SizeRanges::bucket(pInfo->faLength);
  addSaturating(m_record->szdSizes[bucket], pInfo->faLength);
  ++m_record->szdCounts[bucket];
}

void SizeDistAccum::finish(CuStatResults*) {
  TRACE_METHOD("finish(...)");
}

}  // namespace orv
