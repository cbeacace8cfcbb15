#include "Scan/accumulate/DistributionAccums.h"

#include <array>
#include <stdexcept>

#include "Scan/accumulate/PartState.h"
#include "Scan/entry/FileAttributes.h"
#include "Scan/results/CuStatResults.h"
#include "Scan/results/DistributionRecords.h"
#include "Scan/walk/Scanner.h"
#include "runtime/nls/MessageLog.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

constexpr std::int64_t DAY = 86400;
// Bucket 8 takes all that is older than the last bound; this one what is dated ahead.
constexpr std::size_t FUTURE_BUCKET = 9;

// Inclusive upper bounds in seconds of the buckets 0 to 7. The last is a year of 365.25 days.
constexpr std::array<std::int64_t, 8> BOUNDS = {DAY,      7 * DAY,   30 * DAY,  60 * DAY,
                                                90 * DAY, 180 * DAY, 270 * DAY, 31557600};

std::size_t ageBucket(std::int64_t age) noexcept {
  std::size_t index = 0;
  while (index < BOUNDS.size() && age > BOUNDS[index])
    ++index;
  return index;
}

void count(STimeDist& record, std::size_t bucket, std::int64_t length) noexcept {
  addSaturating(record.tdSizes[bucket], length);
  ++record.tdCounts[bucket];
}

// Unlike `accumulate`, which passes a missing entry over: nothing has no time to return.
[[noreturn]] void refuse(const char* text) {
  TRACE(TR_MAX, "%s", text);
  throw std::invalid_argument(text);
}

}  // namespace

TimeDistAccum::TimeDistAccum(const char* name, STimeDist* record)
    : Accumulator(name), m_record(record) {}

void TimeDistAccum::accumulate(Scanner* pScanner, FileAttributes* pInfo) {
  TRACE_METHOD("accumulate(...)");
  if (!areGiven(pScanner, pInfo))
    return;
  // Cut to whole seconds: before 1970 that may be one second too young, which no bucket shows.
  const std::int64_t age = pScanner->scanStart() - time(pInfo) / 1000;
  // A day of tolerance for clocks that disagree: what is less ahead counts as young.
  if (age < -DAY) {
    // Not part of the average: one date far ahead would make a whole tree look new.
    count(*m_record, FUTURE_BUCKET, pInfo->faLength);
    return;
  }
  ++m_fileCount;
  // Dates may lie anywhere: a sum that cannot grow any more spoils an average, one that wraps lies.
  addSaturating(m_ageSum, age);
  count(*m_record, ageBucket(age), pInfo->faLength);
}

void TimeDistAccum::finish(CuStatResults*) {
  TRACE_METHOD("finish(...)");
  // Without any entry the average stays 0, as readers know it.
  if (m_fileCount > 0)
    m_record->tdAverageAge = m_ageSum / m_fileCount;
}

void TimeDistAccum::save(RowSink& sink) const {
  // The sum and not the average: averages of parts cannot be added.
  std::vector<std::int64_t> figures = {m_fileCount, m_ageSum};
  figures.insert(figures.end(), m_record->tdSizes.begin(), m_record->tdSizes.end());
  figures.insert(figures.end(), m_record->tdCounts.begin(), m_record->tdCounts.end());
  sink.row({}, {}, figures, nullptr);
}

void TimeDistAccum::absorb(Scanner&, const StateRow& row) {
  FigureReader figures(row);
  m_fileCount += figures.next();
  addSaturating(m_ageSum, figures.next());
  for (std::int64_t& size : m_record->tdSizes)
    addSaturating(size, figures.next());
  for (std::int64_t& entries : m_record->tdCounts)
    entries += figures.next();
}

AccessedDistAccum::AccessedDistAccum(STimeDist* record)
    : TimeDistAccum("AccessedDistAccum", record) {}

std::int64_t AccessedDistAccum::time(FileAttributes* pInfo) {
  if (pInfo == nullptr)
    refuse(
        "AccessedDistAccum::time() : ERROR: The parameter reference FileAttributes <pInfo> is "
        "NULL.");
  return pInfo->faAccessed;
}

ModifiedDistAccum::ModifiedDistAccum(STimeDist* record)
    : TimeDistAccum("ModifiedDistAccum", record) {}

std::int64_t ModifiedDistAccum::time(FileAttributes* pInfo) {
  if (pInfo == nullptr)
    refuse(
        "ModifiedDistAccum::time() : ERROR: The parameter reference FileAttributes <pInfo> is "
        "NULL.");
  return pInfo->faModified;
}

CreatedDistAccum::CreatedDistAccum(STimeDist* record) : TimeDistAccum("CreatedDistAccum", record) {}

std::int64_t CreatedDistAccum::time(FileAttributes* pInfo) {
  if (pInfo == nullptr)
    refuse(
        "CreatedDistAccum::time() : ERROR: The parameter reference FileAttributes <pInfo> is "
        "NULL.");
  return pInfo->faCreated;
}

BackupDistAccum::BackupDistAccum(STimeDist* record) : TimeDistAccum("BackupDistAccum", record) {}

void BackupDistAccum::accumulate(Scanner* pScanner, FileAttributes* pInfo) {
  TRACE_METHOD("accumulate(...)");
  if (pScanner == nullptr || pInfo == nullptr) {
    TRACE(
        TR_MAX,
        "BackupDistAccum::accumulate() : ERROR: At least one of the parameters <pScanner>, <pInfo> "
        "is NULL. Leaving method.");
    return;
  }
  // Never set where there are no archive flags: the statistic is there, and empty.
  if ((pInfo->faAttributes & FA_ARCHIVE) != 0)
    TimeDistAccum::accumulate(pScanner, pInfo);
}

std::int64_t BackupDistAccum::time(FileAttributes* pInfo) {
  if (pInfo == nullptr) {
    static constexpr const char* TEXT =
        "BackupDistAccum::time() : ERROR: The parameter <pInfo> is NULL. Leaving method.";
    issueMessage(msg::STA0028I, {TEXT});
    refuse(TEXT);
  }
  return pInfo->faModified;
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

// Nothing is derived from the figures: the record was complete with the last entry.
void SizeDistAccum::finish(CuStatResults*) {
  TRACE_METHOD("finish(...)");
}

void SizeDistAccum::save(RowSink& sink) const {
  std::vector<std::int64_t> figures(m_record->szdSizes.begin(), m_record->szdSizes.end());
  figures.insert(figures.end(), m_record->szdCounts.begin(), m_record->szdCounts.end());
  sink.row({}, {}, figures, nullptr);
}

void SizeDistAccum::absorb(Scanner&, const StateRow& row) {
  FigureReader figures(row);
  for (std::int64_t& size : m_record->szdSizes)
    addSaturating(size, figures.next());
  for (std::int64_t& count : m_record->szdCounts)
    count += figures.next();
}

}  // namespace orv
