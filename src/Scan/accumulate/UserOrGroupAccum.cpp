#include "Scan/accumulate/UserOrGroupAccum.h"

#include "Probe/Filesystem.h"
#include "Scan/accumulate/Accumulator.h"
#include "Scan/entry/UserOrGroup.h"
#include "Scan/results/CuStatResults.h"
#include "runtime/nls/MessageLog.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

void noteLargest(SUserOrGroup& record, std::int64_t length) noexcept {
  if (length <= record.sug2ndLargestSize)
    return;
  if (length > record.sugLargestSize) {
    record.sug2ndLargestSize = record.sugLargestSize;
    record.sugLargestSize = length;
  } else {
    record.sug2ndLargestSize = length;
  }
}

void countFile(SUserOrGroup& record, std::int64_t length) noexcept {
  ++record.sugFileCount;
  noteLargest(record, length);
  const std::size_t bucket = SizeRanges::bucket(length);
  addSaturating(record.sugSizes[bucket], length);
  ++record.sugCounts[bucket];
}

}  // namespace

UserOrGroupAccum::UserOrGroupAccum(int kind, const Filesystem& filesystem)
    : Accumulator("UserOrGroupAccum"),
      m_filesystem(filesystem),
      m_kind(static_cast<std::uint8_t>(kind)) {}

void UserOrGroupAccum::accumulate(Scanner*, FileAttributes* pInfo) {
  TRACE_METHOD("accumulate(...)");
  if (pInfo == nullptr) {
    TRACE(TR_MAX, "The parameter FileAttributes <pInfo> is NULL. Leaving method.");
    return;
  }
  const UserOrGroup* identity = identityOf(*pInfo);
  if (identity == nullptr)
    return;
  SUserOrGroup& record = recordOf(*identity);
  if (pInfo->faType == FT_REGULAR || pInfo->faType == FT_SYMLINK)
    countFile(record, pInfo->faLength);
  else if (pInfo->faType == FT_DIRECTORY)
    ++record.sugDirectoryCount;
  addSaturating(record.sugTotalSize, pInfo->faLength);
}

// The first text lacks a "-": what evaluates traces looks for it as it stands.
const UserOrGroup* UserOrGroupAccum::identityOf(const FileAttributes& info) const {
  const UserOrGroup* identity = m_kind == OWNERS ? info.faOwner : info.faGroup;
  if (identity == nullptr)
    TRACE(TR_MAX,
          m_kind == OWNERS ? "pInfo>faOwner is null for %s\n" : "pInfo->faGroup is null for %s\n",
          info.faName.empty() ? NULL_INSERT : info.faName.c_str());
  return identity;
}

SUserOrGroup& UserOrGroupAccum::recordOf(const UserOrGroup& identity) {
  // Most entries of a directory have one owner: no look-up for them.
  if (&identity == m_lastIdentity)
    return *m_lastRecord;
  std::unique_ptr<SUserOrGroup>& record =
      m_records[static_cast<std::uint32_t>(identity.identity())];
  if (!record) {
    record = std::make_unique<SUserOrGroup>();
    record->sugFilesystemID = m_filesystem.fsID;
    // The time of the filesystem's scan, as readers of the history expect it.
    record->sugTimestamp = m_filesystem.fsScanTime;
    record->sugIdentity = &identity;
  }
  m_lastIdentity = &identity;
  m_lastRecord = record.get();
  return *record;
}

void UserOrGroupAccum::finish(CuStatResults* results) {
  TRACE_METHOD("finish(...)");
  if (results == nullptr || m_finished)
    return;
  RecordChain<SUserOrGroup> chain;
  // In ascending order, each before the last one: the chain starts with the highest identifier.
  for (auto& [identifier, record] : m_records) {
    record->sugStatisticID = results->srID;
    chain.pushFront(std::move(record));
  }
  m_records.clear();
  m_lastIdentity = nullptr;
  m_finished = true;
  (m_kind == OWNERS ? results->srOwners : results->srGroups) = std::move(chain);
}

}  // namespace orv
