#include "Scan/accumulate/SizeDistAccum.h"

#include "Scan/accumulate/SaturatingSum.h"
#include "Scan/entry/FileAttributes.h"
#include "Scan/results/SSizeDist.h"
#include "runtime/ut/Trace.h"

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
