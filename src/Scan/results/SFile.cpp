#include "Scan/results/SFile.h"

#include "Common/format/GenericPrint.h"
#include "Common/format/RecordColumns.h"

namespace orv {
namespace {

// clang-format off
constexpr Column<SFile> FILE_COLUMNS[] = {
    column<SFile, &SFile::sfFilesystemID>("sfFilesystemID"),
    column<SFile, &SFile::sfStatisticID> ("sfStatisticID"),
    column<SFile, &SFile::sfStatType>    ("sfStatType"),
};
constexpr Column<SFileCandidate> CANDIDATE_COLUMNS[] = {
    column<SFileCandidate, &SFileCandidate::sfHSMScore>("sfHSMScore"),
};
// clang-format on

}  // namespace

void SFile::printHeader(GenericPrint& print) {
  std::vector<std::string> names = columnNames<SFile>(FILE_COLUMNS);
  appendNames(names);
  print.printHeaderLine(names);
}

void SFile::printData(GenericPrint& print) const {
  std::vector<std::string> values = columnTexts<SFile>(FILE_COLUMNS, *this);
  appendValues(values);
  print.printDataLine(values);
}

void SFileCandidate::printHeader(GenericPrint& print) {
  print.printHeaderLine(columnNames<SFileCandidate>(CANDIDATE_COLUMNS));
}

void SFileCandidate::printData(GenericPrint& print) const {
  print.printDataLine(columnTexts<SFileCandidate>(CANDIDATE_COLUMNS, *this));
}

}  // namespace orv
