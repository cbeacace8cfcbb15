#include "Scan/definition/FileScoreRule.h"

#include "Common/format/FieldTable.h"
#include "Common/format/GenericPrint.h"
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

}  // namespace orv
