#include "Scan/results/SSummary.h"

#include "Common/format/GenericPrint.h"
#include "Common/format/RecordColumns.h"

namespace orv {
namespace {

// clang-format off
constexpr Column<SSummaryHist> HIST_COLUMNS[] = {
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
constexpr Column<SSummary> OWN_COLUMNS[] = {
    column<SSummary, &SSummary::sumDirectoryCount>("sumDirectoryCount"),
};
// clang-format on

}  // namespace

void SSummaryHist::printHeader(GenericPrint& print) {
  print.printHeaderLine(columnNames<SSummaryHist>(HIST_COLUMNS));
}

void SSummaryHist::printData(GenericPrint& print) const {
  print.printDataLine(columnTexts<SSummaryHist>(HIST_COLUMNS, *this));
}

void SSummary::printHeader(GenericPrint& print) {
  std::vector<std::string> names = columnNames<SSummaryHist>(HIST_COLUMNS);
  appendColumnNames<SSummary>(OWN_COLUMNS, names);
  print.printHeaderLine(names);
}

void SSummary::printData(GenericPrint& print) const {
  std::vector<std::string> values = columnTexts<SSummaryHist>(HIST_COLUMNS, *this);
  appendColumnTexts<SSummary>(OWN_COLUMNS, *this, values);
  print.printDataLine(values);
}

}  // namespace orv
