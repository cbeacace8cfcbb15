#include "Scan/definition/CuStatDef.h"

#include "Common/format/FieldTable.h"
#include "Common/format/GenericPrint.h"
#include "Scan/definition/ScanUtil.h"
#include "runtime/nls/MessageLog.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

// A 16-bit field that is set through its setter, which traces it.
template <auto Set, auto Get>
constexpr Field<FileScoreRule> shortField(std::string_view name) {
  return {name,
          [](FileScoreRule& rule, const std::string& text) {
            (rule.*Set)(static_cast<std::int16_t>(parseInteger(text)));
          },
          [](const FileScoreRule& rule) { return std::to_string((rule.*Get)()); }};
}

// clang-format off
constexpr Field<BackupAction> ACTION_ROWS[] = {
    integerField<BackupAction, &BackupAction::baID>("baID"),
    integerField<BackupAction, &BackupAction::baType>("baType"),
    flagField<BackupAction, &BackupAction::baDeleteFile>("baDeleteFile"),
    stringField<BackupAction, &BackupAction::baOptions>("baOptions"),
    integerField<BackupAction, &BackupAction::baConstraintThreshold>("baConstraintThreshold"),
};
// clang-format on
constexpr std::span<const Field<BackupAction>> ACTION_FIELDS(ACTION_ROWS);

template <auto Member>
constexpr Field<CuStatDef> integer(std::string_view name) {
  return integerField<CuStatDef, Member>(name);
}

template <auto Member>
constexpr Field<CuStatDef> flag(std::string_view name) {
  return flagField<CuStatDef, Member>(name);
}

template <auto Member>
constexpr Field<CuStatDef> text(std::string_view name) {
  return stringField<CuStatDef, Member>(name);
}

void readSummary(CuStatDef& profile, const std::string& value) {
  // A number that is read and written as a flag: what builds the summary compares it with 1.
  bool wanted = profile.sdSummary != 0;
  parseFlag(value, wanted);
  profile.sdSummary = wanted ? 1 : 0;
}

// The fields that `toString` shows, in its order.
// A text for people: what later versions added to the record is not shown.
constexpr std::string_view SHOWN[] = {"sdID",
                                      "sdAlertID",
                                      "sdCreator",
                                      "sdName",
                                      "sdDescription",
                                      "sdType",
                                      "sdShare",
                                      "sdLargestDirectories",
                                      "sdLargestFiles",
                                      "sdLeastAccessed",
                                      "sdOldestNotBackedUp",
                                      "sdLargestOrphans",
                                      "sdOldestOrphans",
                                      "sdSummary",
                                      "sdSizeDistribution",
                                      "sdGroupByOwner",
                                      "sdGroupByGroup",
                                      "sdGroupByAccess",
                                      "sdGroupByMod",
                                      "sdGroupByCreation",
                                      "sdGroupByBackup",
                                      "sdWinOnlyFileType",
                                      "sdLargestFileTypes",
                                      "sdDailyRetention",
                                      "sdWeeklyRetention",
                                      "sdMonthlyRetention"};

}  // namespace

std::span<const Field<FileScoreRule>> FileScoreRule::fields() noexcept {
  // clang-format off
  static constexpr Field<FileScoreRule> ROWS[] = {
      shortField<&FileScoreRule::setCType, &FileScoreRule::getCType>("cType"),
      shortField<&FileScoreRule::setCOperator, &FileScoreRule::getCOperator>("cOperator"),
      {"cRule", [](FileScoreRule& rule, const std::string& text) { rule.setCRule(text); },
                [](const FileScoreRule& rule) { return rule.getCRule(); }},
      shortField<&FileScoreRule::setCScore, &FileScoreRule::getCScore>("cScore"),
  };
  // clang-format on
  return ROWS;
}

void FileScoreRule::inititializeObject(const HeaderArray& refHeaderArray,
                                       const DataArray& refDataArray) {
  TRACE_METHOD("inititializeObject(...)");
  const std::vector<std::string>& innerArray = firstRow(refDataArray);
  if (innerArray.size() != refHeaderArray.size())
    issueMessage(msg::STA0028I, {formatText("a %s has %zu field names and %zu values", ENTITY_NAME,
                                            refHeaderArray.size(), innerArray.size())});
  checkSizes(refHeaderArray, innerArray,
             "ERROR: innerArray.size() != refHeaderArray.size(). "
             "OrvObjectCreationException exception will be thrown.");
  readFields(fields(), refHeaderArray, innerArray, *this);
}

void FileScoreRule::printHeader(GenericPrint& print) {
  print.printHeaderLine(fieldNames(fields()));
}

void FileScoreRule::printData(GenericPrint& print) const {
  TRACE_METHOD("printData(...)");
  print.printDataLine(fieldValues(fields(), *this));
}

void FileScoreRule::setCType(std::int16_t pType) {
  TRACE(TR_GENERAL, "Set short <pType> to %d.", pType);
  m_cType = pType;
}

void FileScoreRule::setCOperator(std::int16_t pOperator) {
  TRACE(TR_GENERAL, "Set short <pOperator> to %d.", pOperator);
  m_cOperator = pOperator;
}

void FileScoreRule::setCRule(const std::string& cRule) {
  TRACE(TR_GENERAL, "Set string <cRule> to '%s'.", cRule.c_str());
  m_cRule = cRule;
}

void FileScoreRule::setCScore(std::int16_t pScore) {
  TRACE(TR_GENERAL, "Set short <pScore> to %d.", pScore);
  m_cScore = pScore;
}

// No definition holds actions: there is nothing to read.
void BackupAction::inititializeObject(const HeaderArray&, const DataArray&) {
  TRACE_METHOD("inititializeObject(...)");
}

void BackupAction::printHeader(GenericPrint& print) {
  print.printHeaderLine(fieldNames(ACTION_FIELDS));
}

void BackupAction::printData(GenericPrint& print) const {
  TRACE_METHOD("printData(...)");
  // Both refer to records of this process, which mean nothing to a reader.
  TRACE(TR_GENERAL, "baFile not serialized!");
  TRACE(TR_GENERAL, "baFilesystem not serialized!");
  print.printDataLine(fieldValues(ACTION_FIELDS, *this));
}

CuStatDef::CuStatDef() = default;
CuStatDef::~CuStatDef() = default;

std::span<const Field<CuStatDef>> CuStatDef::fields() noexcept {
  // clang-format off
  static constexpr Field<CuStatDef> ROWS[] = {
      integer<&CuStatDef::sdID>("sdID"),
      integer<&CuStatDef::sdAlertID>("sdAlertID"),
      text<&CuStatDef::sdCreator>("sdCreator"),
      text<&CuStatDef::sdName>("sdName"),
      text<&CuStatDef::sdDescription>("sdDescription"),
      text<&CuStatDef::sdType>("sdType"),
      text<&CuStatDef::sdShare>("sdShare"),
      integer<&CuStatDef::sdLargestDirectories>("sdLargestDirectories"),
      integer<&CuStatDef::sdLargestFiles>("sdLargestFiles"),
      integer<&CuStatDef::sdLeastAccessed>("sdLeastAccessed"),
      integer<&CuStatDef::sdOldestNotBackedUp>("sdOldestNotBackedUp"),
      integer<&CuStatDef::sdLargestOrphans>("sdLargestOrphans"),
      integer<&CuStatDef::sdOldestOrphans>("sdOldestOrphans"),
      integer<&CuStatDef::sdLargestFileTypes>("sdLargestFileTypes"),
      integer<&CuStatDef::sdMinSize>("sdMinSize"),
      integer<&CuStatDef::sdMinAge>("sdMinAge"),
      integer<&CuStatDef::sdSizeFactor>("sdSizeFactor"),
      integer<&CuStatDef::sdAgeFactor>("sdAgeFactor"),
      integer<&CuStatDef::sdCandidatesToCollect>("sdCandidatesToCollect"),
      integer<&CuStatDef::sdHSMScoring>("sdHSMScoring"),
      {"sdSummary", readSummary,
                    [](const CuStatDef& profile) { return flagText(profile.sdSummary != 0); }},
      flag<&CuStatDef::sdSizeDistribution>("sdSizeDistribution"),
      flag<&CuStatDef::sdGroupByOwner>("sdGroupByOwner"),
      flag<&CuStatDef::sdGroupByGroup>("sdGroupByGroup"),
      flag<&CuStatDef::sdGroupByAccess>("sdGroupByAccess"),
      flag<&CuStatDef::sdGroupByMod>("sdGroupByMod"),
      flag<&CuStatDef::sdGroupByCreation>("sdGroupByCreation"),
      flag<&CuStatDef::sdGroupByBackup>("sdGroupByBackup"),
      flag<&CuStatDef::sdWinOnlyFileType>("sdWinOnlyFileType"),
      integer<&CuStatDef::sdDailyRetention>("sdDailyRetention"),
      integer<&CuStatDef::sdWeeklyRetention>("sdWeeklyRetention"),
      integer<&CuStatDef::sdMonthlyRetention>("sdMonthlyRetention"),
      {"sdWhereClause",
          [](CuStatDef& profile, const std::string& value) { profile.parseWhereClause(value); },
          [](const CuStatDef& profile) { return profile.m_whereClause; }},
  };
  // clang-format on
  return ROWS;
}

void CuStatDef::inititializeObject(const HeaderArray& refHeaderArray,
                                   const DataArray& refDataArray) {
  TRACE_METHOD("inititializeObject(...)");
  const std::vector<std::string>& row = firstRow(refDataArray);
  checkSizes(refHeaderArray, row);
  readFields(fields(), refHeaderArray, row, *this);
}

void CuStatDef::parseWhereClause(const std::string& text) {
  m_whereClause.clear();
  // So writers say that there is no clause.
  if (text == "null")
    return;
  bool atTokenStart = true;
  // The clause stands there with a blank behind each of its bytes; of more in one token only the
  // first counts.
  for (const char c : text) {
    const bool isSeparator = c == ',' || c == ' ';
    if (!isSeparator && atTokenStart)
      m_whereClause += c;
    atTokenStart = isSeparator;
  }
}

void CuStatDef::addListedFilesystems(const HeaderArray& refHeaderArray,
                                     const DataArray& refDataArray) {
  TRACE_METHOD("addListedFilesystems(...)");
  // All rows are looked at before any is taken: a bad one must not leave half a list.
  for (const std::vector<std::string>& row : refDataArray)
    checkSizes(refHeaderArray, row);
  for (const std::vector<std::string>& row : refDataArray)
    for (std::size_t column = 0; column < refHeaderArray.size(); ++column)
      if (refHeaderArray[column] == "rfDirOrFS")
        listedFilesystems.push_back(static_cast<std::int32_t>(parseInteger(row[column])));
}

void CuStatDef::printHeader(GenericPrint& print) {
  print.printHeaderLine(fieldNames(fields()));
}

void CuStatDef::printData(GenericPrint& print, std::span<ResultsByFS* const> results) const {
  TRACE_METHOD("printData(...)");
  print.printBegin(ENTITY_NAME);
  print.printDataLine(fieldValues(fields(), *this));
  // Inside the profile's entity: a reader knows the profile of a result by where it stands.
  for (const ResultsByFS* result : results)
    result->printData(print);
  for (const std::unique_ptr<BackupAction>& action : sdBackupAction)
    action->printData(print);
  print.printEnd(ENTITY_NAME);
}

void CuStatDef::printData(GenericPrint& print) const {
  std::vector<ResultsByFS*> results;
  for (const std::unique_ptr<ResultsByFS>& result : sdResults)
    results.push_back(result.get());
  printData(print, results);
}

CuStatDef* CuStatDef::getTail() noexcept {
  CuStatDef* tail = this;
  while (tail->sdNext != nullptr)
    tail = tail->sdNext;
  return tail;
}

std::string CuStatDef::getSdName() const {
  std::string name = getTranslatedName(sdName);
  TRACE(TR_GENERAL, "getSdName(...) returnValue: %s", name.c_str());
  return name;
}

void CuStatDef::parseForProfile() {
  // For sources that are kept in profiles of their own: the scan's are not.
  TRACE_METHOD("parseForProfile(...)");
}

void CuStatDef::writeForProfile() {
  TRACE_METHOD("writeForProfile(...)");
}

std::string CuStatDef::toString() const {
  std::string result;
  for (const std::string_view name : SHOWN) {
    // Always found: every name above is that of a row.
    const Field<CuStatDef>& field = *findField(fields(), name);
    result.append("\n").append(name).append(" = ").append(field.write(*this));
  }
  return result;
}

}  // namespace orv
