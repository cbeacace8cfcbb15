#include "Scan/results/TotalsRecords.h"

#include "Common/format/FieldTable.h"
#include "Common/format/GenericPrint.h"
#include "Scan/entry/FileType.h"
#include "Scan/entry/UserTable.h"

namespace orv {
namespace {

// clang-format off
constexpr Column<SSummaryHist> SUMMARY_HIST_COLUMNS[] = {
    column<SSummaryHist, &SSummaryHist::sumFilesystemID>("sumFilesystemID"),
    column<SSummaryHist, &SSummaryHist::sumStatisticID> ("sumStatisticID"),
    column<SSummaryHist, &SSummaryHist::sumCapacity>    ("sumCapacity"),
    column<SSummaryHist, &SSummaryHist::sumFreeSpace>   ("sumFreeSpace"),
    column<SSummaryHist, &SSummaryHist::sumUsedSpace>   ("sumUsedSpace"),
    column<SSummaryHist, &SSummaryHist::sumTotalSize>   ("sumTotalSize"),
    column<SSummaryHist, &SSummaryHist::sumFileCount>   ("sumFileCount"),
    column<SSummaryHist, &SSummaryHist::sumScanTime>    ("sumScanTime"),
    column<SSummaryHist, &SSummaryHist::sumAccumCount>  ("sumAccumCount"),
    column<SSummaryHist, &SSummaryHist::sumType>        ("sumType"),
};
constexpr Column<SSummary> SUMMARY_COLUMNS[] = {
    column<SSummary, &SSummary::sumDirectoryCount>("sumDirectoryCount"),
};
// clang-format on

// Unsigned: ids above 2^31 are ordinary ones.
std::string identityText(const SUGHist& record) {
  return record.sugIdentity == nullptr
             ? std::string()
             : std::to_string(static_cast<std::uint32_t>(record.sugIdentity->identity()));
}

// clang-format off
constexpr Column<SUGHist> OWNER_HIST_COLUMNS[] = {
    column<SUGHist, &SUGHist::sugFilesystemID>("sugFilesystemID"),
    column<SUGHist, &SUGHist::sugStatisticID> ("sugStatisticID"),
    {"sugIdentity", identityText},
    column<SUGHist, &SUGHist::sugFileCount>   ("sugFileCount"),
    column<SUGHist, &SUGHist::sugTotalSize>   ("sugTotalSize"),
    column<SUGHist, &SUGHist::sugTimestamp>   ("sugTimestamp"),
    column<SUGHist, &SUGHist::sugAccumCount>  ("sugAccumCount"),
    column<SUGHist, &SUGHist::sugType>        ("sugType"),
};
constexpr Column<SUserOrGroup> OWNER_COLUMNS[] = {
    column<SUserOrGroup, &SUserOrGroup::sugDirectoryCount>("sugDirectoryCount"),
    column<SUserOrGroup, &SUserOrGroup::sugOtherCount>    ("sugOtherCount"),
    column<SUserOrGroup, &SUserOrGroup::sugUnusedSpace>   ("sugUnusedSpace"),
    column<SUserOrGroup, &SUserOrGroup::sugLargestSize>   ("sugLargestSize"),
    column<SUserOrGroup, &SUserOrGroup::sug2ndLargestSize>("sug2ndLargestSize"),
    column<SUserOrGroup, &SUserOrGroup::sugSizes>         ("sugSizes"),
    column<SUserOrGroup, &SUserOrGroup::sugCounts>        ("sugCounts"),
};
// clang-format on

// By number: types have records of their own in the result, with their names.
std::string typeText(const FileTypeSummary& record) {
  return record.fileType == nullptr ? std::string() : std::to_string(record.fileType->fptID);
}

// clang-format off
constexpr Column<History> HISTORY_COLUMNS[] = {
    column<History, &History::hsStatisticTime>("hsStatisticTime"),
    column<History, &History::hsAccumCount>   ("hsAccumCount"),
    column<History, &History::hsStatisticType>("hsStatisticType"),
};
constexpr Column<FileTypeSummary> TYPE_COLUMNS[] = {
    column<FileTypeSummary, &FileTypeSummary::profileID>   ("profileID"),
    column<FileTypeSummary, &FileTypeSummary::filesystemID>("filesystemID"),
    column<FileTypeSummary, &FileTypeSummary::fileCount>   ("fileCount"),
    column<FileTypeSummary, &FileTypeSummary::spaceUsed>   ("spaceUsed"),
    {"fileType", typeText},
};
// clang-format on

}  // namespace

void SSummaryHist::printHeader(GenericPrint& print) {
  print.printHeaderLine(columnNames<SSummaryHist>(SUMMARY_HIST_COLUMNS));
}

void SSummaryHist::printData(GenericPrint& print) const {
  print.printDataLine(columnTexts<SSummaryHist>(SUMMARY_HIST_COLUMNS, *this));
}

void SSummary::printHeader(GenericPrint& print) {
  // The columns of the history come first: readers of that find them in both records.
  std::vector<std::string> names = columnNames<SSummaryHist>(SUMMARY_HIST_COLUMNS);
  appendColumnNames<SSummary>(SUMMARY_COLUMNS, names);
  print.printHeaderLine(names);
}

void SSummary::printData(GenericPrint& print) const {
  std::vector<std::string> values = columnTexts<SSummaryHist>(SUMMARY_HIST_COLUMNS, *this);
  appendColumnTexts<SSummary>(SUMMARY_COLUMNS, *this, values);
  print.printDataLine(values);
}

void SUGHist::printHeader(GenericPrint& print) {
  print.printHeaderLine(columnNames<SUGHist>(OWNER_HIST_COLUMNS));
}

void SUGHist::printData(GenericPrint& print) const {
  print.printDataLine(columnTexts<SUGHist>(OWNER_HIST_COLUMNS, *this));
}

void SUserOrGroup::printHeader(GenericPrint& print) {
  // As with the summary: what owners' history has in common with it comes first.
  std::vector<std::string> names = columnNames<SUGHist>(OWNER_HIST_COLUMNS);
  appendColumnNames<SUserOrGroup>(OWNER_COLUMNS, names);
  print.printHeaderLine(names);
}

void SUserOrGroup::printData(GenericPrint& print) const {
  std::vector<std::string> values = columnTexts<SUGHist>(OWNER_HIST_COLUMNS, *this);
  appendColumnTexts<SUserOrGroup>(OWNER_COLUMNS, *this, values);
  print.printDataLine(values);
}

void History::printHeader(GenericPrint& print) {
  print.printHeaderLine(columnNames<History>(HISTORY_COLUMNS));
}

void History::printData(GenericPrint& print) const {
  print.printDataLine(columnTexts<History>(HISTORY_COLUMNS, *this));
}

void FileTypeSummary::printHeader(GenericPrint& print) {
  print.printHeaderLine(columnNames<FileTypeSummary>(TYPE_COLUMNS));
}

void FileTypeSummary::printData(GenericPrint& print) const {
  print.printDataLine(columnTexts<FileTypeSummary>(TYPE_COLUMNS, *this));
}

}  // namespace orv
