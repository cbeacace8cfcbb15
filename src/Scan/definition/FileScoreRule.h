#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "Common/format/EntityToObjectMapper.h"

namespace orv {

class GenericPrint;
template <typename Record>
struct Field;

// A rule by which the server scores migration candidates. The scan carries it and never applies it.
// Owned by its CuStatDef.
class FileScoreRule final : public EntityToObjectMapper {
 public:
  static constexpr const char* ENTITY_NAME = "FileScoreRule";

  // Fields of the first row by header name, in any column order; unknown names are skipped. A
  // mismatch is also issued as STA0028I.
  void inititializeObject(const HeaderArray& refHeaderArray,
                          const DataArray& refDataArray) override;

  static void printHeader(GenericPrint& print);
  // The data line.
  void printData(GenericPrint& print) const;

  // The codes of type and operator are the server's own.
  [[nodiscard]] std::int16_t getCType() const noexcept { return m_cType; }
  void setCType(std::int16_t pType);
  [[nodiscard]] std::int16_t getCOperator() const noexcept { return m_cOperator; }
  void setCOperator(std::int16_t pOperator);

  // A value or a pattern.
  [[nodiscard]] const std::string& getCRule() const noexcept { return m_cRule; }
  void setCRule(const std::string& cRule);
  [[nodiscard]] std::size_t getRuleLength() const noexcept { return m_cRule.size(); }

  // What the rule adds to the score of a file that it applies to.
  [[nodiscard]] std::int16_t getCScore() const noexcept { return m_cScore; }
  void setCScore(std::int16_t pScore);

 private:
  static std::span<const Field<FileScoreRule>> fields() noexcept;

  std::int16_t m_cType = 0;
  std::int16_t m_cOperator = 0;
  std::string m_cRule;
  std::int16_t m_cScore = 0;
};

}  // namespace orv
