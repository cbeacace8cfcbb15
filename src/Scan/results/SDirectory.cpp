#include "Scan/results/SDirectory.h"

#include "Common/format/GenericPrint.h"
#include "Common/format/RecordColumns.h"

namespace orv {
namespace {

// clang-format off
constexpr Column<SDirectory> COLUMNS[] = {
    column<SDirectory, &SDirectory::dirFilesystemID>  ("dirFilesystemID"),
    column<SDirectory, &SDirectory::dirStatisticID>   ("dirStatisticID"),
    column<SDirectory, &SDirectory::dirFileCount>     ("dirFileCount"),
    column<SDirectory, &SDirectory::dirDirectoryCount>("dirDirectoryCount"),
    column<SDirectory, &SDirectory::dirTotalSize>     ("dirTotalSize"),
    column<SDirectory, &SDirectory::dirLargestSize>   ("dirLargestSize"),
    column<SDirectory, &SDirectory::dir2ndLargestSize>("dir2ndLargestSize"),
    column<SDirectory, &SDirectory::dirSizes>         ("dirSizes"),
    column<SDirectory, &SDirectory::dirCounts>        ("dirCounts"),
};
// clang-format on

}  // namespace

void SDirectory::printHeader(GenericPrint& print) {
  std::vector<std::string> names = columnNames<SDirectory>(COLUMNS);
  appendNames(names);
  print.printHeaderLine(names);
}

void SDirectory::printData(GenericPrint& print) const {
  std::vector<std::string> values = columnTexts<SDirectory>(COLUMNS, *this);
  appendValues(values);
  print.printDataLine(values);
}

}  // namespace orv
