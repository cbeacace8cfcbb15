#include "Scan/results/EntryRecords.h"

#include "Common/format/FieldTable.h"
#include "Common/format/GenericPrint.h"
#include "Probe/Filesystem.h"

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

using S = SHSMScoring;

// clang-format off
constexpr Column<S> SCORING_COLUMNS[] = {
    column<S, &S::cFilesystemID>       ("cFilesystemID"),
    column<S, &S::cStatisticID>        ("cStatisticID"),
    column<S, &S::cCandidatesCounter>  ("cCandidatesCounter"),
    column<S, &S::cSpaceSavings>       ("cSpaceSavings"),
    column<S, &S::cAge>                ("cAge"),
    column<S, &S::cMigratedFiles>      ("cMigratedFiles"),
    column<S, &S::cMigratedData>       ("cMigratedData"),
    column<S, &S::cPremigratedFiles>   ("cPremigratedFiles"),
    column<S, &S::cPremigratedData>    ("cPremigratedData"),
    column<S, &S::cHSMVersion>         ("cHSMVersion"),
    column<S, &S::cHSMState>           ("cHSMState"),
    column<S, &S::cHSMScoring>         ("cHSMScoring"),
    column<S, &S::cCandidatesToCollect>("cCandidatesToCollect"),
    {"cFileCandidates", [](const S& record) { return std::to_string(record.cFileCandidates.size()); }},
    column<S, &S::cMinSize>            ("cMinSize"),
    column<S, &S::cMinAge>             ("cMinAge"),
    column<S, &S::cAgeFactor>          ("cAgeFactor"),
    column<S, &S::cSizeFactor>         ("cSizeFactor"),
    column<S, &S::cAgeScores>          ("cAgeScores"),
    column<S, &S::cSizeScores>         ("cSizeScores"),
};
// clang-format on

// clang-format off
constexpr Column<SDirectory> DIRECTORY_COLUMNS[] = {
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

std::string filesystemText(const SMonDir& record) {
  // By number, as everything in a result refers to filesystems.
  return record.smFilesystem == nullptr ? std::string() : std::to_string(record.smFilesystem->fsID);
}

// clang-format off
constexpr Column<SMonDir> MONDIR_COLUMNS[] = {
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

void SFile::printHeader(GenericPrint& print) {
  // A file's own columns first, then those of its entry, in the header as in the data.
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

void SHSMScoring::printHeader(GenericPrint& print) {
  print.printHeaderLine(columnNames<SHSMScoring>(SCORING_COLUMNS));
}

void SHSMScoring::printData(GenericPrint& print) const {
  print.printDataLine(columnTexts<SHSMScoring>(SCORING_COLUMNS, *this));
}

void SDirectory::printHeader(GenericPrint& print) {
  std::vector<std::string> names = columnNames<SDirectory>(DIRECTORY_COLUMNS);
  appendNames(names);
  print.printHeaderLine(names);
}

void SDirectory::printData(GenericPrint& print) const {
  std::vector<std::string> values = columnTexts<SDirectory>(DIRECTORY_COLUMNS, *this);
  appendValues(values);
  print.printDataLine(values);
}

void SMonDir::printHeader(GenericPrint& print) {
  std::vector<std::string> names = columnNames<SMonDir>(MONDIR_COLUMNS);
  appendNames(names);
  print.printHeaderLine(names);
}

void SMonDir::printData(GenericPrint& print) const {
  std::vector<std::string> values = columnTexts<SMonDir>(MONDIR_COLUMNS, *this);
  appendValues(values);
  print.printDataLine(values);
}

}  // namespace orv
