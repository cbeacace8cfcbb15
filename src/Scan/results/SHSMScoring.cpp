#include "Scan/results/SHSMScoring.h"

#include "Common/format/GenericPrint.h"
#include "Common/format/RecordColumns.h"

namespace orv {
namespace {

using S = SHSMScoring;

// clang-format off
constexpr Column<S> COLUMNS[] = {
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

}  // namespace

void SHSMScoring::printHeader(GenericPrint& print) {
  print.printHeaderLine(columnNames<SHSMScoring>(COLUMNS));
}

void SHSMScoring::printData(GenericPrint& print) const {
  print.printDataLine(columnTexts<SHSMScoring>(COLUMNS, *this));
}

}  // namespace orv
