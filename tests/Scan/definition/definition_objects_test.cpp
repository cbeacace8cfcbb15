#include <gtest/gtest.h>

#include <functional>

#include "Scan/definition/AgentScan.h"
#include "runtime/ut/ORVException.h"
#include "runtime/ut/Trace.h"
#include "support/TempDir.h"

namespace orv {
namespace {

// Runs `action` with the trace on and returns what it traced.
std::string tracedBy(const std::function<void()>& action) {
  const test::TempDir dir;
  const std::string file = dir.file("test.trace");
  EXPECT_TRUE(trace::open(file, "MID", 1000, false));
  action();
  trace::close();
  return test::readFile(file);
}

TEST(AgentScanTest, namesCountOnlyInTheirOwnColumns) {
  const struct {
    HeaderArray header;
    std::vector<std::string> row;
    std::string jobName;
    std::int32_t computer;
  } rows[] = {
      {{"asJobName", "asScanningCompID"}, {"job", "7"}, "job", 7},
      {{"asScanningCompID", "asJobName"}, {"7", "job"}, "", 0},
      {{"other", "asScanningCompID"}, {"job", "7"}, "", 7},
      {{"asJobName", "asScanningCompID", "asJobName"}, {"job", "7", "third"}, "job", 7},
      {{"asJobName"}, {"job"}, "job", 0},
  };
  for (const auto& row : rows) {
    AgentScan job;
    job.inititializeObject(row.header, {row.row});
    EXPECT_EQ(job.asJobName, row.jobName) << row.header.front();
    EXPECT_EQ(job.asScanningCompID, row.computer) << row.header.front();
  }
}

// Old links are dropped, new ones keep the list's order, and a long chain is freed without
// recursion.
TEST(AgentScanTest, chainsFollowTheirLists) {
  constexpr int LENGTH = 100000;
  AgentScan job;
  CuStatDef elsewhere;
  auto profiles = std::make_unique<CuStatDefList>();
  auto directories = std::make_unique<MonDirSpecList>();
  for (int i = 0; i < LENGTH; ++i) {
    profiles->push_back(std::make_unique<CuStatDef>());
    profiles->back()->sdID = i;
    profiles->back()->sdNext = &elsewhere;
    directories->push_back(std::make_unique<MonDirSpec>());
    directories->back()->setMdsID(i);
  }
  job.addStatistics(std::make_unique<CuStatDef>());
  job.addDirectory(std::make_unique<MonDirSpec>());
  job.setStatistics(std::move(profiles));
  job.setDirectories(std::move(directories));
  int expected = 0;
  for (const MonDirSpec* d = job.getDirectories(); d != nullptr; d = d->getMdsNext())
    ASSERT_EQ(d->getMdsID(), expected++);
  EXPECT_EQ(expected, LENGTH);
  expected = 0;
  for (const CuStatDef* p = job.getStatistics(); p != nullptr; p = p->sdNext)
    ASSERT_EQ(p->sdID, expected++);
  EXPECT_EQ(expected, LENGTH);
  EXPECT_EQ(job.getStatistics()->getTail()->sdID, LENGTH - 1);
}

TEST(AgentScanTest, settingNullEmptiesAndWarns) {
  AgentScan job;
  job.addFilesystem(std::make_unique<Filesystem>());
  job.addDirectory(std::make_unique<MonDirSpec>());
  job.addStatistics(std::make_unique<CuStatDef>());
  const std::string traced = tracedBy([&job] {
    job.setFilesystems(nullptr);
    job.setDirectories(nullptr);
    job.setStatistics(nullptr);
  });
  EXPECT_EQ(job.getFilesystems(), nullptr);
  EXPECT_EQ(job.getDirectories(), nullptr);
  EXPECT_EQ(job.getStatistics(), nullptr);
  for (const char* text :
       {"Filesystem reference <m_pFilesystem>", "MonDirSpec reference <m_pDirectories>",
        "CuStatDef reference <m_pStatistics>"})
    EXPECT_NE(traced.find("WARNING: Set local " + std::string(text) + " to NULL."),
              std::string::npos)
        << text;
}

TEST(MonDirSpecTest, lastRowHoldsAndOtherFlagTextsChangeNothing) {
  const HeaderArray header = {"mdsMaskedPath", "mdsPath", "mdsID", "mdsGroupID", "mdsComputerID"};
  const struct {
    const char* first;
    const char* second;
    bool masked;
  } rows[] = {{"Y", "yes", true},     {"y", "1", true},    {"true", "", true},
              {"true", "TRUE", true}, {"Y", "N", false},   {"Y", "n", false},
              {"Y", "false", false},  {"N", "true", true}, {"yes", "no", false},
              {"1", "Y ", false}};
  for (const auto& row : rows) {
    MonDirSpec directory;
    directory.inititializeObject(
        header, {{row.first, "/a", "1", "2", "3"}, {row.second, "C:\\b", "4", "5", "6"}});
    EXPECT_EQ(directory.getMdsMaskedPath(), row.masked) << row.first << row.second;
    EXPECT_EQ(directory.getMdsPath(), "C:\\b");
    EXPECT_EQ(directory.getMdsID(), 4);
    EXPECT_EQ(directory.getMdsGroupID(), 5);
    EXPECT_EQ(directory.getMdsComputerID(), 6);
  }
}

TEST(MonDirSpecTest, oneUnfitRowRefusesAll) {
  MonDirSpec directory;
  EXPECT_THROW(directory.inititializeObject({"mdsID", "mdsPath"}, {{"1", "/a"}, {"2"}}),
               OrvObjectCreationException);
  EXPECT_EQ(directory.getMdsID(), 0);
}

TEST(DefinitionObjectsTest, unfitRowsAreTracedAndCarryCode325) {
  const char* refData =
      "ERROR: refHeaderArray.size() != refDataArray.size(). "
      "OrvObjectCreationException will be thrown.";
  const char* inner =
      "ERROR: innerArray.size() != refHeaderArray.size(). "
      "OrvObjectCreationException will be thrown.";
  const char* rule =
      "ERROR: innerArray.size() != refHeaderArray.size(). "
      "OrvObjectCreationException exception will be thrown.";
  AgentScan job;
  MonDirSpec directory;
  CuStatDef profile;
  FileScoreRule scoreRule;
  const struct {
    EntityToObjectMapper& object;
    const char* text;
  } rows[] = {{job, refData}, {directory, inner}, {profile, refData}, {scoreRule, rule}};
  for (const auto& row : rows) {
    int code = 0;
    const std::string traced = tracedBy([&row, &code] {
      try {
        row.object.inititializeObject({"asJobName", "sdID", "mdsID"}, {{"1", "2"}});
      } catch (const OrvObjectCreationException& failure) {
        code = failure.code;
      }
    });
    EXPECT_EQ(code, 325) << row.text;
    EXPECT_NE(traced.find(row.text), std::string::npos) << traced;
  }
  EXPECT_EQ(job.asJobName, "");
  EXPECT_EQ(profile.sdID, 0);
}

TEST(FileScoreRuleTest, numbersHaveSixteenBits) {
  FileScoreRule rule;
  rule.inititializeObject({"cScore", "cRule", "cOperator", "cType"},
                          {{"65537", "*.tmp", "-3", "40000"}, {"1", "", "1", "1"}});
  EXPECT_EQ(rule.getCScore(), 1);
  EXPECT_EQ(rule.getCRule(), "*.tmp");
  EXPECT_EQ(rule.getRuleLength(), 5U);
  EXPECT_EQ(rule.getCOperator(), -3);
  EXPECT_EQ(rule.getCType(), -25536);
}

TEST(CuStatDefTest, countsAndSwitches) {
  CuStatDef profile;
  profile.inititializeObject({"sdSummary", "sdGroupByBackup", "sdLargestFiles", "sdOldestOrphans",
                              "sdLargestFileTypes", "sdMinSize", "sdType", "sdNewField"},
                             {{"Y", "true", "10000", "40000", "32767", "70000", "4", "x"}});
  EXPECT_EQ(profile.sdSummary, 1);
  EXPECT_TRUE(profile.sdGroupByBackup);
  EXPECT_EQ(profile.sdLargestFiles, 10000);
  EXPECT_EQ(profile.sdOldestOrphans, 40000 - 65536);
  EXPECT_EQ(profile.sdLargestFileTypes, 32767);
  EXPECT_EQ(profile.sdMinSize, 70000);
  EXPECT_EQ(profile.sdType, "4");
}

TEST(CuStatDefTest, whereClauseIsTheFirstCharacterOfEachToken) {
  const struct {
    const char* value;
    const char* clause;
  } rows[] = {{"a, b, c", "abc"},
              {"null", ""},
              {"", ""},
              {" , ,", ""},
              {"s,i,z,e,>,1", "size>1"},
              {"abc def", "ad"},
              {",null", "n"},
              {"', \",|", "'\"|"},
              {"a\tb", "a"}};
  for (const auto& row : rows) {
    CuStatDef profile;
    profile.inititializeObject({"sdWhereClause"}, {{row.value}});
    EXPECT_EQ(profile.getWhereClause(), row.clause) << row.value;
  }
}

TEST(CuStatDefTest, listedFilesystemsComeFromTheResultsChildren) {
  CuStatDef profile;
  profile.addListedFilesystems({"rfResults", "rfDirOrFS"}, {{"", "12"}, {"", "7"}});
  profile.addListedFilesystems({"rfDirOrFS"}, {{"3"}});
  EXPECT_EQ(profile.listedFilesystems, (std::vector<std::int32_t>{12, 7, 3}));
  EXPECT_THROW(profile.addListedFilesystems({"rfResults", "rfDirOrFS"}, {{"5"}}),
               OrvObjectCreationException);
}

TEST(CuStatDefTest, shownAsOneLinePerField) {
  CuStatDef profile;
  profile.inititializeObject(
      {"sdID", "sdName", "sdSummary", "sdLargestFileTypes", "sdMinSize", "sdMonthlyRetention"},
      {{"7", "all", "Y", "5", "9", "12"}});
  EXPECT_EQ(profile.toString(),
            "\nsdID = 7\nsdAlertID = 0\nsdCreator = \nsdName = all\nsdDescription = \nsdType = "
            "\nsdShare = \nsdLargestDirectories = 0\nsdLargestFiles = 0\nsdLeastAccessed = 0"
            "\nsdOldestNotBackedUp = 0\nsdLargestOrphans = 0\nsdOldestOrphans = 0\nsdSummary = Y"
            "\nsdSizeDistribution = N\nsdGroupByOwner = N\nsdGroupByGroup = N\nsdGroupByAccess = N"
            "\nsdGroupByMod = N\nsdGroupByCreation = N\nsdGroupByBackup = N\nsdWinOnlyFileType = N"
            "\nsdLargestFileTypes = 5\nsdDailyRetention = 0\nsdWeeklyRetention = 0"
            "\nsdMonthlyRetention = 12");
}

}  // namespace
}  // namespace orv
