#include "Scan/SizeDistAccum.h"

#include "Scan/FileAttributes.h"
#include "Scan/SSizeDist.h"
#include "Scan/SaturatingSum.h"
#include "common/ut/Trace.h"

namespace orv {

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
