#include "Scan/results/SMonDir.h"

#include "Common/format/GenericPrint.h"
#include "Common/format/RecordColumns.h"
#include "Probe/Filesystem.h"

namespace orv {
namespace {

std::string filesystemText(const SMonDir& record) {
  return record.smFilesystem == nullptr ? std::string() : std::to_string(record.smFilesystem->fsID);
}

// clang-format off
constexpr Column<SMonDir> COLUMNS[] = {
    column<SMonDir, &SMonDir::smFilesystemID>("smFilesystemID"),
    column<SMonDir, &SMonDir::smDirectoryID> ("smDirectoryID"),
    column<SMonDir, &SMonDir::smDirSpecs>    ("smDirSpecs"),
    column<SMonDir, &SMonDir::smNewDirectory>("smNewDirectory"),
    column<SMonDir, &SMonDir::smScanTime>    ("smScanTime"),
    column<SMonDir, &SMonDir::smRemovedTime> ("smRemovedTime"),
    {"smFilesystem", filesystemText},
};
// clang-format on

}  // namespace

void SMonDir::printHeader(GenericPrint& print) {
  std::vector<std::string> names = columnNames<SMonDir>(COLUMNS);
  appendNames(names);
  print.printHeaderLine(names);
}

void SMonDir::printData(GenericPrint& print) const {
  std::vector<std::string> values = columnTexts<SMonDir>(COLUMNS, *this);
  appendValues(values);
  print.printDataLine(values);
}

}  // namespace orv
