#include <gtest/gtest.h>

#include "Common/format/ParserAPI.h"
#include "Scan/definition/AgentScan.h"
#include "support/Printed.h"

namespace orv {
namespace {

using test::printed;

constexpr const char* PROFILE_NAMES =
    "sdID,sdAlertID,sdCreator,sdName,sdDescription,sdType,sdShare,sdLargestDirectories,"
    "sdLargestFiles,sdLeastAccessed,sdOldestNotBackedUp,sdLargestOrphans,sdOldestOrphans,"
    "sdLargestFileTypes,sdMinSize,sdMinAge,sdSizeFactor,sdAgeFactor,sdCandidatesToCollect,"
    "sdHSMScoring,sdSummary,sdSizeDistribution,sdGroupByOwner,sdGroupByGroup,sdGroupByAccess,"
    "sdGroupByMod,sdGroupByCreation,sdGroupByBackup,sdWinOnlyFileType,sdDailyRetention,"
    "sdWeeklyRetention,sdMonthlyRetention,sdWhereClause";

// Fills a profile with values that differ from field to field; flags alternate.
void fillProfile(CuStatDef& profile) {
  HeaderArray names;
  std::vector<std::string> values;
  std::istringstream line(PROFILE_NAMES);
  for (std::string name; std::getline(line, name, ',');) {
    names.push_back(name);
    values.push_back(std::to_string(names.size()));
  }
  for (std::size_t flag = 20; flag < 29; ++flag)
    values[flag] = flag % 2 == 0 ? "Y" : "N";
  values.back() = "a&b";
  profile.inititializeObject(names, {values});
  profile.setWhereClause("size>1");
}

constexpr const char* PROFILE_LINE =
    R"("1","2","3","4","5","6","7","8","9","10","11","12","13","14","15","16","17","18","19","20",)"
    R"("Y","N","Y","N","Y","N","Y","N","Y","30","31","32","size>1")";

// The result's reader finds each record's columns in this section, by type and in this order.
TEST(DefinitionPrintTest, headerSectionNamesTheRecordTypesInOrder) {
  const std::string text = printed([](GenericPrint& print) { AgentScan::printHeader(print); });
  std::vector<std::string> types;
  std::string previous;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line); previous = line) {
    if (line.front() == '[')
      types.push_back(line);
    else
      EXPECT_EQ(previous, types.back());  // one line of names directly behind each type
  }
  EXPECT_EQ(types, (std::vector<std::string>{
                       "[Header]",       "[AgentScan]",     "[CuStatDef]",       "[CuStatResults]",
                       "[Filesystem]",   "[FileType]",      "[FileTypeSummary]", "[MonDirSpec]",
                       "[ResultsByFS]",  "[SDirectory]",    "[SFile]",           "[SMonDir]",
                       "[SSizeDist]",    "[SSummary]",      "[STimeDist]",       "[SUGHist]",
                       "[SUserOrGroup]", "[FileScoreRule]", "[SFileCandidate]",  "[UserOrGroup]",
                       "[Domain]",       "[/Header]"}));
  for (const std::string& lineOfOurs :
       {std::string("[AgentScan]\nasJobName,asScanningCompID\n"),
        "[CuStatDef]\n" + std::string(PROFILE_NAMES) + "\n",
        std::string("[MonDirSpec]\nmdsID,mdsGroupID,mdsComputerID,mdsPath,mdsMaskedPath\n"),
        std::string("[FileScoreRule]\ncType,cOperator,cRule,cScore\n"),
        std::string("[Domain]\ndmID,dmName\n[/Header]\n")})
    EXPECT_NE(text.find(lineOfOurs), std::string::npos) << lineOfOurs;
}

TEST(DefinitionPrintTest, profileWritesItselfThenTheGivenResultsThenItsActions) {
  Filesystem here;
  here.fsID = 12;
  Filesystem there;
  CuStatDef profile;
  fillProfile(profile);
  for (const Filesystem* filesystem : {&here, &there}) {
    profile.sdResults.push_back(std::make_unique<ResultsByFS>(*filesystem));
    profile.sdResults.back()->rfResults = std::make_unique<CuStatResults>();
  }
  const std::string begin = "[CuStatDef]\n" + std::string(PROFILE_LINE) + "\n";
  EXPECT_EQ(printed([&](GenericPrint& print) { profile.printData(print, {}); }),
            begin + "[/CuStatDef]\n");

  EXPECT_FALSE(profile.sdHasBackupAction());
  profile.sdBackupAction.push_back(std::make_unique<BackupAction>());
  BackupAction& action = *profile.sdBackupAction.back();
  action.baID = 3;
  action.baType = 4;
  action.baDeleteFile = true;
  action.baOptions = "-x \"y\"";
  action.baFilesystem = &here;
  action.baConstraintThreshold = 80;
  ResultsByFS* const only[] = {profile.sdResults.front().get()};
  const std::string results = printed([&](GenericPrint& print) { only[0]->printData(print); });
  EXPECT_EQ(results.rfind("[ResultsByFS,Filesystem]\n\"0\",\"12\"\n", 0), 0U) << results;
  EXPECT_EQ(printed([&](GenericPrint& print) { profile.printData(print, only); }),
            begin + results + "\"3\",\"4\",\"Y\",\"-x \"\"y\"\"\",\"80\"\n[/CuStatDef]\n");
}

TEST(DefinitionPrintTest, summarySwitchOfAnyValueIsPrintedAsAFlag) {
  CuStatDef profile;
  profile.sdSummary = 2;
  EXPECT_NE(profile.toString().find("\nsdSummary = Y\n"), std::string::npos);
}

TEST(DefinitionPrintTest, jobPrintsItsPartsInOrder) {
  AgentScan job;
  EXPECT_EQ(printed([&](GenericPrint& print) { job.printData(print); }), ",\"0\"\n");
  job.asJobName = "job";
  job.asScanningCompID = 1;
  job.addStatistics(std::make_unique<CuStatDef>());
  fillProfile(*job.getStatistics());
  for (const char* path : {"/b", "/a"}) {
    job.addDirectory(std::make_unique<MonDirSpec>());
    MonDirSpec* last = job.getDirectories();
    while (last->getMdsNext() != nullptr)
      last = last->getMdsNext();
    last->inititializeObject({"mdsPath", "mdsMaskedPath", "mdsID", "mdsGroupID", "mdsComputerID"},
                             {{path, "Y", "5", "6", "-1"}});
  }
  job.addFilesystem(std::make_unique<Filesystem>());
  const std::string filesystem = printed([&](GenericPrint& print) { job.printFilesystems(print); });
  EXPECT_EQ(filesystem.rfind("[Filesystem]\n", 0), 0U);
  EXPECT_EQ(printed([&](GenericPrint& print) { job.printData(print); }),
            "\"job\",\"1\"\n" + filesystem +
                "[MonDirSpec]\n\"5\",\"6\",\"-1\",\"/b\",\"Y\"\n[/MonDirSpec]\n"
                "[MonDirSpec]\n\"5\",\"6\",\"-1\",\"/a\",\"Y\"\n[/MonDirSpec]\n"
                "[CuStatDef]\n" +
                PROFILE_LINE + "\n[/CuStatDef]\n");
}

// Whatever text a name holds, the reader finds it again in what was printed.
TEST(DefinitionPrintTest, printedDirectoriesReadBack) {
  const test::TempDir dir;
  for (const char* path :
       {"/plain", "null", "/a,b", "\"", "/\"x\",\"\"", "[MonDirSpec]", " \t", "\xff"}) {
    MonDirSpec written;
    written.setMdsID(-7);
    written.setMdsPath(path);
    written.setMdsMaskedPath(true);
    GenericPrint print(dir.file("out"));
    AgentScan::printHeader(print);
    written.printData(print);
    print.close();

    ParserAPI reader(dir.file("out"));
    const std::unique_ptr<ParserAPI::Entity> entity(reader.findNextEntity(nullptr));
    ASSERT_TRUE(entity && entity->name == MonDirSpec::ENTITY_NAME) << path;
    MonDirSpec read;
    read.inititializeObject(reader.getEntityHeader(entity->name),
                            reader.getEntityData(entity.get()));
    EXPECT_EQ(read.getMdsPath(), path);
    EXPECT_EQ(read.getMdsID(), -7) << path;
    EXPECT_TRUE(read.getMdsMaskedPath()) << path;
  }
}

TEST(DefinitionPrintTest, scoreRuleIsOneLine) {
  FileScoreRule rule;
  rule.inititializeObject({"cType", "cOperator", "cRule", "cScore"}, {{"1", "2", "a,b", "-7"}});
  EXPECT_EQ(printed([&](GenericPrint& print) { rule.printData(print); }),
            "\"1\",\"2\",\"a,b\",\"-7\"\n");
}

}  // namespace
}  // namespace orv
