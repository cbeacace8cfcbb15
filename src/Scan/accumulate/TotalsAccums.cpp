#include "Scan/accumulate/TotalsAccums.h"

#include <algorithm>
#include <vector>

#include "Probe/Filesystem.h"
#include "Scan/accumulate/NMost.h"
#include "Scan/entry/FileType.h"
#include "Scan/entry/UserTable.h"
#include "Scan/results/CuStatResults.h"
#include "Scan/walk/Scanner.h"
#include "runtime/nls/MessageLog.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

void noteLargest(SUserOrGroup& record, std::int64_t length) noexcept {
  // Nearly every file ends here.
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

// Off Windows, the longest extension in characters.
constexpr std::size_t EXTENSION_LIMIT = 6;

}  // namespace

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
  // As it should be: the results own the record that entries were added to.
  if (m_pSSummary == results->srSummary.get())
    return;
  TRACE(TR_MAX,
        "WARNING: The references <m_pSSummary> and <results->srSummary> are not equal, but should "
        "be! Copying result values.");
  if (results->srSummary)
    *m_pSSummary = *results->srSummary;
}

void SummaryAccum::save(RowSink& sink) const {
  const std::int64_t figures[] = {m_pSSummary->sumFileCount, m_pSSummary->sumDirectoryCount,
                                  m_pSSummary->sumTotalSize};
  sink.row({}, {}, figures, nullptr);
}

void SummaryAccum::absorb(Scanner&, const StateRow& row) {
  FigureReader figures(row);
  m_pSSummary->sumFileCount += figures.next();
  m_pSSummary->sumDirectoryCount += figures.next();
  addSaturating(m_pSSummary->sumTotalSize, figures.next());
}

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

void UserOrGroupAccum::save(RowSink& sink) const {
  for (const auto& [identifier, record] : m_records) {
    std::vector<std::int64_t> figures = {
        identifier,           record->sugFileCount,   record->sugDirectoryCount,
        record->sugTotalSize, record->sugLargestSize, record->sug2ndLargestSize};
    figures.insert(figures.end(), record->sugSizes.begin(), record->sugSizes.end());
    figures.insert(figures.end(), record->sugCounts.begin(), record->sugCounts.end());
    sink.row({}, {}, figures, nullptr);
  }
}

void UserOrGroupAccum::absorb(Scanner& scanner, const StateRow& row) {
  FigureReader figures(row);
  const Sid sid(static_cast<std::uint32_t>(figures.next()));
  SUserOrGroup& record = recordOf(*scanner.users().find(sid, m_kind == GROUPS));
  record.sugFileCount += static_cast<std::uint32_t>(figures.next());
  record.sugDirectoryCount += static_cast<std::uint32_t>(figures.next());
  addSaturating(record.sugTotalSize, figures.next());
  // Both of a part: its second largest may be the second of all.
  noteLargest(record, figures.next());
  noteLargest(record, figures.next());
  for (std::int64_t& size : record.sugSizes)
    addSaturating(size, figures.next());
  for (std::int64_t& count : record.sugCounts)
    count += figures.next();
}

void UserOrGroupAccum::finish(CuStatResults* results) {
  TRACE_METHOD("finish(...)");
  // A second call would put an empty chain in the place of the full one.
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

FileTypeAccum::FileTypeAccum(std::int32_t proID, std::int32_t ftNumber)
    : Accumulator("FileTypeAccum"), m_proID(proID), m_ftNumber(ftNumber) {
  TRACE_METHOD("FileTypeAccum(int proID, bool winOS, int ftNumber)");
}

FileTypeAccum::~FileTypeAccum() = default;

bool FileTypeAccum::extractExtensionName(std::string_view name, bool winOS,
                                         std::string_view& ext) noexcept {
  // From the end: extensions are short and paths are not.
  for (std::size_t i = name.size(); i-- > 1;) {
    const char c = name[i];
    const std::size_t behind = name.size() - 1 - i;
    if (c == '.') {
      // "name." ends in no extension, and ".name" is a hidden file.
      if (behind == 0 || name[i - 1] == '/')
        return false;
      ext = name.substr(i + 1);
      return true;
    }
    if (c == '/' || c == '\\' || c == ' ')
      return false;
    // The two ends of the search differ by platform and both are kept: results name types by them.
    if (winOS ? static_cast<unsigned char>(c) > 126 : behind >= EXTENSION_LIMIT)
      return false;
  }
  return false;
}

void FileTypeAccum::accumulate(Scanner* pScanner, FileAttributes* pInfo) {
  TRACE_METHOD("accumulate(...)");
  if (!areGiven(pScanner, pInfo) || pInfo->faType != FT_REGULAR)
    return;
  std::string_view ext;
  if (!extractExtensionName(pInfo->faName, m_winOS, ext))
    return;
  Counted& counted = summaryOf(ext, *pScanner);
  ++counted.summary->fileCount;
  addSaturating(counted.summary->spaceUsed, pInfo->faLength);
  if (!pInfo->faPlace.empty())
    noteFirst(counted, pInfo->faPlace, *pScanner);
}

// Later names of linked files come after what lies behind them: not always in the walk's order.
void FileTypeAccum::noteFirst(Counted& counted, const std::string& place, const Scanner& scanner) {
  if (place.empty() || (!counted.firstPlace.empty() && counted.firstPlace <= place))
    return;
  counted.firstPlace = place;
  scanner.fileTypes().noteFirst(*counted.summary->fileType, place);
}

FileTypeAccum::Counted& FileTypeAccum::summaryOf(std::string_view ext, const Scanner& scanner) {
  // Files of one kind lie together: mostly it is the type of the entry before.
  if (m_last != nullptr && m_last->first == ext)
    return m_last->second;
  auto found = m_summaries.find(ext);
  if (found == m_summaries.end()) {
    auto summary = std::make_unique<FileTypeSummary>();
    summary->profileID = m_proID;
    summary->filesystemID = scanner.filesystem().fsID;
    // Numbered by the whole scan, so that a type has one number in all filesystems of the result.
    summary->fileType = &scanner.fileTypes().entry(ext);
    found = m_summaries.emplace(ext, Counted{std::move(summary), {}}).first;
  }
  m_last = &*found;
  return found->second;
}

void FileTypeAccum::save(RowSink& sink) const {
  for (const auto& [ext, counted] : m_summaries) {
    const std::int64_t figures[] = {counted.summary->fileCount, counted.summary->spaceUsed};
    sink.row(ext, counted.firstPlace, figures, nullptr);
  }
}

void FileTypeAccum::absorb(Scanner& scanner, const StateRow& row) {
  Counted& counted = summaryOf(row.key, scanner);
  FigureReader figures(row);
  counted.summary->fileCount += figures.next();
  addSaturating(counted.summary->spaceUsed, figures.next());
  noteFirst(counted, row.place, scanner);
}

void FileTypeAccum::finish(CuStatResults* results) {
  TRACE_METHOD("finish(...)");
  if (results == nullptr) {
    TRACE(TR_MAX, "Parameter <pResults> is NULL. terminating method");
    return;
  }
  if (m_finished)
    return;
  // Ranked in the order of the text, so that which of two equal types is kept does not depend on
  // hashing.
  std::vector<Summaries::value_type*> ordered;
  for (Summaries::value_type& entry : m_summaries)
    ordered.push_back(&entry);
  std::sort(ordered.begin(), ordered.end(),
            [](const auto* a, const auto* b) { return a->first < b->first; });

  NMost<FileTypeSummary> most(m_ftNumber);
  for (Summaries::value_type* entry : ordered)
    if (most.mustAdd(entry->second.summary->spaceUsed))
      most.add(std::move(entry->second.summary));
  results->srFileTypes = most.takeChain([](FileTypeSummary&) {});
  // It points into the table that is emptied next.
  m_last = nullptr;
  m_summaries.clear();
  m_finished = true;
}

}  // namespace orv
