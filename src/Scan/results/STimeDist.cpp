#include "Scan/results/STimeDist.h"

#include "Common/format/GenericPrint.h"
#include "Common/format/RecordColumns.h"

namespace orv {
namespace {

// clang-format off
constexpr Column<STimeDist> COLUMNS[] = {
    column<STimeDist, &STimeDist::tdFilesystemID>("tdFilesystemID"),
    column<STimeDist, &STimeDist::tdStatisticID> ("tdStatisticID"),
    column<STimeDist, &STimeDist::tdType>        ("tdType"),
    column<STimeDist, &STimeDist::tdScanTime>    ("tdScanTime"),
    column<STimeDist, &STimeDist::tdAverageAge>  ("tdAverageAge"),
    column<STimeDist, &STimeDist::tdSizes>       ("tdSizes"),
    column<STimeDist, &STimeDist::tdCounts>      ("tdCounts"),
    column<STimeDist, &STimeDist::tdAccumCount>  ("tdAccumCount"),
    column<STimeDist, &STimeDist::tdHistType>    ("tdHistType"),
};
// clang-format on

}  // namespace

void STimeDist::printHeader(GenericPrint& print) {
  print.printHeaderLine(columnNames<STimeDist>(COLUMNS));
}

void STimeDist::printData(GenericPrint& print) const {
  print.printDataLine(columnTexts<STimeDist>(COLUMNS, *this));
}

}  // namespace orv
