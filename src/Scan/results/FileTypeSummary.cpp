#include "Scan/results/FileTypeSummary.h"

#include "Common/format/GenericPrint.h"
#include "Common/format/RecordColumns.h"
#include "Scan/entry/FileType.h"

namespace orv {
namespace {

std::string typeText(const FileTypeSummary& record) {
  return record.fileType == nullptr ? std::string() : std::to_string(record.fileType->fptID);
}

// clang-format off
constexpr Column<History> HISTORY_COLUMNS[] = {
    column<History, &History::hsStatisticTime>("hsStatisticTime"),
    column<History, &History::hsAccumCount>   ("hsAccumCount"),
    column<History, &History::hsStatisticType>("hsStatisticType"),
};
constexpr Column<FileTypeSummary> COLUMNS[] = {
    column<FileTypeSummary, &FileTypeSummary::profileID>   ("profileID"),
    column<FileTypeSummary, &FileTypeSummary::filesystemID>("filesystemID"),
    column<FileTypeSummary, &FileTypeSummary::fileCount>   ("fileCount"),
    column<FileTypeSummary, &FileTypeSummary::spaceUsed>   ("spaceUsed"),
    {"fileType", typeText},
};
// clang-format on

}  // namespace

void History::printHeader(GenericPrint& print) {
  print.printHeaderLine(columnNames<History>(HISTORY_COLUMNS));
}

void History::printData(GenericPrint& print) const {
  print.printDataLine(columnTexts<History>(HISTORY_COLUMNS, *this));
}

void FileTypeSummary::printHeader(GenericPrint& print) {
  print.printHeaderLine(columnNames<FileTypeSummary>(COLUMNS));
}

void FileTypeSummary::printData(GenericPrint& print) const {
  print.printDataLine(columnTexts<FileTypeSummary>(COLUMNS, *this));
}

}  // namespace orv
