#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "Common/format/EntityToObjectMapper.h"
#include "Scan/results/CuStatResults.h"

namespace orv {

class Filesystem;
class GenericPrint;
struct FileAttributes;
template <typename Record>
struct Field;

// Where the figures of an analysis come from: what names them in the report.
class AnalysisSource {
 public:
  AnalysisSource() = default;
  virtual ~AnalysisSource() = default;
  AnalysisSource(const AnalysisSource&) = delete;
  AnalysisSource& operator=(const AnalysisSource&) = delete;

  // The name under which users know the source.
  [[nodiscard]] virtual std::string getSdName() const = 0;

  // Hooks for sources that are kept in profiles of their own; those of the scan are not.
  virtual void parseForProfile() = 0;
  virtual void writeForProfile() = 0;
};

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

// An action to run on the files that a profile selects. The program fills it, never the definition
// file. Owned by its CuStatDef.
class BackupAction final : public EntityToObjectMapper {
 public:
  // Takes nothing from the file.
  void inititializeObject(const HeaderArray& refHeaderArray,
                          const DataArray& refDataArray) override;

  static void printHeader(GenericPrint& print);
  // The data line. The file and the filesystem are left out.
  void printData(GenericPrint& print) const;

  std::int32_t baID = 0;
  std::int16_t baType = 0;
  bool baDeleteFile = false;
  std::string baOptions;
  const FileAttributes* baFile = nullptr;    // not owned
  const Filesystem* baFilesystem = nullptr;  // not owned
  std::int32_t baConstraintThreshold = 0;
};

// A statistic profile: which statistics the job gathers, how many ranks each keeps, and from which
// entries. Owned by the AgentScan, which chains the profiles in file order through `sdNext`; used
// on the job's thread.
class CuStatDef final : public EntityToObjectMapper, public AnalysisSource {
 public:
  static constexpr const char* ENTITY_NAME = "CuStatDef";

  CuStatDef();
  ~CuStatDef() override;

  // Fields of the first row by header name, in any column order; unknown names are skipped.
  void inititializeObject(const HeaderArray& refHeaderArray,
                          const DataArray& refDataArray) override;

  // Takes the rows of a ResultsByFS child: the `rfDirOrFS` of each is the fsID of a filesystem that
  // a profile of type 4 lists. Throws OrvObjectCreationException like `inititializeObject`.
  void addListedFilesystems(const HeaderArray& refHeaderArray, const DataArray& refDataArray);

  static void printHeader(GenericPrint& print);
  // The whole entity: begin line, data line, the given results, the backup actions, end line.
  void printData(GenericPrint& print, std::span<ResultsByFS* const> results) const;
  // The same with every result of the profile.
  void printData(GenericPrint& print) const;

  // The clause that restricts the profile to some entries; empty admits all. The definition gives
  // it as tokens parted by commas and blanks, of which the first characters make the clause.
  [[nodiscard]] const std::string& getWhereClause() const noexcept { return m_whereClause; }
  void setWhereClause(std::string clause) { m_whereClause = std::move(clause); }

  // First and last element of the chain that begins here; kept for those who are handed a profile.
  [[nodiscard]] CuStatDef* getHead() noexcept { return this; }
  [[nodiscard]] CuStatDef* getTail() noexcept;

  // `sdName`, translated when it is one of the names that the system itself gives.
  [[nodiscard]] std::string getSdName() const override;
  // Both do nothing but trace.
  void parseForProfile() override;
  void writeForProfile() override;

  // The identifying fields, counts and switches, one "name = value" per line, for the trace.
  [[nodiscard]] std::string toString() const;

  std::int32_t sdID = 0;
  std::int32_t sdAlertID = 0;
  std::string sdCreator;
  std::string sdName;  // as the definition gives it
  std::string sdDescription;
  std::string sdType;
  std::string sdShare;
  // How many ranks each ranking keeps; 16 bits wide, so larger numbers wrap. Below 1: no ranking.
  std::int16_t sdLargestDirectories = 0;
  std::int16_t sdLargestFiles = 0;
  std::int16_t sdLeastAccessed = 0;
  std::int16_t sdOldestNotBackedUp = 0;
  std::int16_t sdLargestOrphans = 0;
  std::int16_t sdOldestOrphans = 0;
  std::int16_t sdLargestFileTypes = 0;
  // Candidate scoring: carried for the server, used by no statistic.
  std::int32_t sdMinSize = 0;
  std::int32_t sdMinAge = 0;
  std::int32_t sdSizeFactor = 0;
  std::int32_t sdAgeFactor = 0;
  std::int32_t sdCandidatesToCollect = 0;
  std::int32_t sdHSMScoring = 0;
  // A number, because the summary is made for the value 1 alone. The definition's flag gives 1 or
  // 0.
  std::int16_t sdSummary = 0;
  bool sdSizeDistribution = false;
  bool sdGroupByOwner = false;
  bool sdGroupByGroup = false;
  bool sdGroupByAccess = false;
  bool sdGroupByMod = false;
  bool sdGroupByCreation = false;
  bool sdGroupByBackup = false;
  bool sdWinOnlyFileType = false;
  std::int32_t sdDailyRetention = 0;
  std::int32_t sdWeeklyRetention = 0;
  std::int32_t sdMonthlyRetention = 0;

  std::vector<std::unique_ptr<FileScoreRule>> sdFileScoreRules;
  std::vector<std::unique_ptr<BackupAction>> sdBackupAction;
  [[nodiscard]] bool sdHasBackupAction() const noexcept { return !sdBackupAction.empty(); }

  // The fsIDs that a profile of type 4 lists, in file order.
  std::vector<std::int32_t> listedFilesystems;

  // What the scan gathered, in the order in which it was bound.
  ResultsByFSList sdResults;

  // Score tables and packed results are the server's; the job carries none.
  std::vector<std::int32_t> sdSizeScores;
  std::vector<std::int32_t> sdAgeScores;
  std::string sdPackedResults;

  CuStatDef* sdNext = nullptr;  // not owned; null at the chain's end

 private:
  static std::span<const Field<CuStatDef>> fields() noexcept;
  void parseWhereClause(const std::string& text);

  std::string m_whereClause;
};

using CuStatDefList = std::vector<std::unique_ptr<CuStatDef>>;

}  // namespace orv
