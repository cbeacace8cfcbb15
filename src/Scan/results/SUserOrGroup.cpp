#include "Scan/results/SUserOrGroup.h"

#include "Common/format/GenericPrint.h"
#include "Common/format/RecordColumns.h"
#include "Scan/entry/UserOrGroup.h"

namespace orv {
namespace {

std::string identityText(const SUGHist& record) {
  return record.sugIdentity == nullptr
             ? std::string()
             : std::to_string(static_cast<std::uint32_t>(record.sugIdentity->identity()));
}

// clang-format off
constexpr Column<SUGHist> HIST_COLUMNS[] = {
    column<SUGHist, &SUGHist::sugFilesystemID>("sugFilesystemID"),
    column<SUGHist, &SUGHist::sugStatisticID> ("sugStatisticID"),
    {"sugIdentity", identityText},
    column<SUGHist, &SUGHist::sugFileCount>   ("sugFileCount"),
    column<SUGHist, &SUGHist::sugTotalSize>   ("sugTotalSize"),
    column<SUGHist, &SUGHist::sugTimestamp>   ("sugTimestamp"),
    column<SUGHist, &SUGHist::sugAccumCount>  ("sugAccumCount"),
    column<SUGHist, &SUGHist::sugType>        ("sugType"),
};
constexpr Column<SUserOrGroup> OWN_COLUMNS[] = {
    column<SUserOrGroup, &SUserOrGroup::sugDirectoryCount>("sugDirectoryCount"),
    column<SUserOrGroup, &SUserOrGroup::sugOtherCount>    ("sugOtherCount"),
    column<SUserOrGroup, &SUserOrGroup::sugUnusedSpace>   ("sugUnusedSpace"),
    column<SUserOrGroup, &SUserOrGroup::sugLargestSize>   ("sugLargestSize"),
    column<SUserOrGroup, &SUserOrGroup::sug2ndLargestSize>("sug2ndLargestSize"),
    column<SUserOrGroup, &SUserOrGroup::sugSizes>         ("sugSizes"),
    column<SUserOrGroup, &SUserOrGroup::sugCounts>        ("sugCounts"),
};
// clang-format on

}  // namespace

void SUGHist::printHeader(GenericPrint& print) {
  print.printHeaderLine(columnNames<SUGHist>(HIST_COLUMNS));
}

void SUGHist::printData(GenericPrint& print) const {
  print.printDataLine(columnTexts<SUGHist>(HIST_COLUMNS, *this));
}

void SUserOrGroup::printHeader(GenericPrint& print) {
  std::vector<std::string> names = columnNames<SUGHist>(HIST_COLUMNS);
  appendColumnNames<SUserOrGroup>(OWN_COLUMNS, names);
  print.printHeaderLine(names);
}

void SUserOrGroup::printData(GenericPrint& print) const {
  std::vector<std::string> values = columnTexts<SUGHist>(HIST_COLUMNS, *this);
  appendColumnTexts<SUserOrGroup>(OWN_COLUMNS, *this, values);
  print.printDataLine(values);
}

}  // namespace orv
