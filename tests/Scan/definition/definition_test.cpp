#include <gtest/gtest.h>

#include <array>
#include <map>

#include "Common/format/ParserAPI.h"
#include "Probe/NasFiler.h"
#include "Scan/definition/AgentScan.h"
#include "Scan/definition/ComputerID.h"
#include "Scan/definition/DefinitionBuilder.h"
#include "Scan/definition/ScanUtil.h"
#include "runtime/ut/ORVException.h"
#include "support/CapturedMessages.h"
#include "support/Printed.h"

namespace orv {
namespace {

using test::printed;

// What an object prints that was made from these rows.
template <typename Object>
std::string shown(const HeaderArray& header, const DataArray& rows) {
  Object object;
  object.inititializeObject(header, rows);
  return printed([&](GenericPrint& print) { object.printData(print); });
}

TEST(DefinitionTest, rowsBecomeFields) {
  // The job's names count only in their own columns.
  const struct {
    HeaderArray header;
    std::vector<std::string> row;
    const char* expected;
  } jobs[] = {
      {{"asJobName", "asScanningCompID"}, {"job", "7"}, "\"job\",\"7\"\n"},
      {{"asScanningCompID", "asJobName"}, {"7", "job"}, ",\"0\"\n"},
      {{"asJobName", "asScanningCompID", "asJobName"}, {"j", "7", "third"}, "\"j\",\"7\"\n"},
      {{"asJobName"}, {"job"}, "\"job\",\"0\"\n"},
  };
  for (const auto& row : jobs)
    EXPECT_EQ(shown<AgentScan>(row.header, {row.row}), row.expected);
  // Of a directory's rows the last one holds, but flag texts of other kinds change nothing.
  for (const auto& [first, second, flag] : {std::array{"Y", "yes", "Y"},
                                            {"y", "1", "Y"},
                                            {"true", "TRUE", "Y"},
                                            {"Y", "n", "N"},
                                            {"Y", "false", "N"},
                                            {"N", "true", "Y"},
                                            {"1", "Y ", "N"}})
    EXPECT_EQ(
        shown<MonDirSpec>({"mdsMaskedPath", "mdsPath", "mdsID", "mdsGroupID", "mdsComputerID"},
                          {{first, "/a", "1", "2", "3"}, {second, "C:\\b", "4", "5", "6"}}),
        std::string("[MonDirSpec]\n\"4\",\"5\",\"6\",\"C:\\b\",\"") + flag + "\"\n[/MonDirSpec]\n");
  // Numbers of 16 bits wrap; none is read as octal.
  EXPECT_EQ(shown<FileScoreRule>({"cScore", "cRule", "cOperator", "cType"},
                                 {{"65537", "*.tmp", "-3", "40000"}, {"1", "", "1", "1"}}),
            "\"-25536\",\"-3\",\"*.tmp\",\"1\"\n");
  CuStatDef profile;
  profile.inititializeObject(
      {"sdGroupByBackup", "sdLargestOrphans", "sdOldestOrphans", "sdMinSize", "sdNewField"},
      {{"true", "010", "40000", "70000", "x"}});
  EXPECT_TRUE(profile.sdGroupByBackup);
  EXPECT_EQ(profile.sdLargestOrphans, 10);
  EXPECT_EQ(profile.sdOldestOrphans, 40000 - 65536);
  EXPECT_EQ(profile.sdMinSize, 70000);
  profile.addListedFilesystems({"rfResults", "rfDirOrFS"}, {{"", "12"}, {"", "7"}});
  profile.addListedFilesystems({"rfDirOrFS"}, {{"3"}});
  EXPECT_EQ(profile.listedFilesystems, (std::vector<std::int32_t>{12, 7, 3}));
}

// Also of a job that begins twice, as its last name.
TEST(DefinitionTest, everyPartReachesItsOwner) {
  const test::TempDir dir;
  test::writeFile(dir.file("job"),
                  "[Header]\n[AgentScan]\nasJobName,asScanningCompID\n[Filesystem]\nfsID\n"
                  "[NasFiler]\nnasID\n[Domain]\ndmID\n[CuStatDef]\nsdID\n[FileScoreRule]\n"
                  "cScore\n[/Header]\n[AgentScan]\nfirst,1\n[Filesystem]\n2\n[NasFiler]\n3\n"
                  "[Domain]\n4\n[/Domain]\n[/NasFiler]\n[/Filesystem]\n[/AgentScan]\n"
                  "[AgentScan]\nlast,1\n[CuStatDef]\n5\n[FileScoreRule]\n6\n[/FileScoreRule]\n"
                  "[/CuStatDef]\n[/AgentScan]\n");
  AgentScan job;
  DefinitionBuilder(dir.file("job"), job).build();
  EXPECT_EQ(job.asJobName, "last");
  const NasFiler& filer = *job.getFilesystems()->at(0)->nasFiler;
  EXPECT_EQ(filer.nasID, 3);
  EXPECT_EQ(filer.domain->dmID, 4);
  ASSERT_NE(job.getStatistics(), nullptr);
  EXPECT_EQ(job.getStatistics()->sdID, 5);
  EXPECT_EQ(job.getStatistics()->sdFileScoreRules.at(0)->getCScore(), 6);
}

// Chains keep the list's order, and a long one is freed without recursion.
TEST(DefinitionTest, chainsFollowTheirLists) {
  constexpr int LENGTH = 100000;
  AgentScan job;
  for (int i = 0; i < LENGTH; ++i) {
    job.addStatistics(std::make_unique<CuStatDef>());
    job.addDirectory(std::make_unique<MonDirSpec>());
    if (i == 0)
      job.getDirectories()->setMdsID(7);
  }
  int left = LENGTH;
  for (const MonDirSpec* d = job.getDirectories(); d != nullptr; d = d->getMdsNext())
    ASSERT_EQ(d->getMdsID(), left-- == LENGTH ? 7 : 0);
  EXPECT_EQ(left, 0);
  for (const CuStatDef* p = job.getStatistics(); p != nullptr; p = p->sdNext)
    ++left;
  EXPECT_EQ(left, LENGTH);
}

TEST(DefinitionTest, unfitRowsGiveCode325AndSetNothing) {
  AgentScan job;
  MonDirSpec directory;
  CuStatDef profile;
  FileScoreRule scoreRule;
  Filesystem filesystem;
  for (EntityToObjectMapper* object : std::initializer_list<EntityToObjectMapper*>{
           &job, &directory, &profile, &scoreRule, &filesystem}) {
    int code = 0;
    try {
      object->inititializeObject({"asJobName"}, {{"1", "2"}});
    } catch (const OrvObjectCreationException& failure) {
      code = failure.code;
    }
    EXPECT_EQ(code, 325);
  }
  EXPECT_THROW(directory.inititializeObject({"mdsID", "mdsPath"}, {{"1", "/a"}, {"2"}}),
               OrvObjectCreationException);
  EXPECT_EQ(directory.getMdsID(), 0);
  EXPECT_EQ(job.asJobName, "");
}

TEST(DefinitionTest, whereClauseIsTheFirstCharacterOfEachToken) {
  const struct {
    const char* value;
    const char* clause;
  } rows[] = {{"a, b, c", "abc"}, {"null", ""},        {" , ,", ""}, {"abc def", "ad"},
              {",null", "n"},     {"', \",|", "'\"|"}, {"a\tb", "a"}};
  for (const auto& row : rows) {
    CuStatDef profile;
    profile.inititializeObject({"sdWhereClause"}, {{row.value}});
    EXPECT_EQ(profile.getWhereClause(), row.clause) << row.value;
  }
}

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
TEST(DefinitionTest, headerSectionNamesTheRecordTypesInOrder) {
  const std::string fa =
      ",faType,faName,faOwner,faGroup,faCreated,faModified,faAccessed,faBlocks,faLength,"
      "faAttributes,faLinkCount,faInodeNumber\n";
  const std::string totals =
      "sugFilesystemID,sugStatisticID,sugIdentity,sugFileCount,sugTotalSize,sugTimestamp,"
      "sugAccumCount,sugType";
  EXPECT_EQ(
      printed([](GenericPrint& print) { AgentScan::printHeader(print); }),
      "[Header]\n[AgentScan]\nasJobName,asScanningCompID\n[CuStatDef]\n" +
          std::string(PROFILE_NAMES) +
          "\n[CuStatResults]\nsrID,srLargestDirectories,srLargestFiles,srLeastAccessed,"
          "srOldestNotBackedUp,srLargestOrphans,srOldestOrphans,srFileTypes,srSummary,srSizeDist,"
          "srOwners,srGroups,srAccessed,srModified,srCreated,srBackup,srHSMScoring\n[Filesystem]"
          "\n" +
          printed(Filesystem::printHeader) +
          "[FileType]\nfptID,ftpFileExtension,ftpDescription\n"
          "[FileTypeSummary]\nprofileID,filesystemID,fileCount,spaceUsed,fileType\n"
          "[MonDirSpec]\nmdsID,mdsGroupID,mdsComputerID,mdsPath,mdsMaskedPath\n"
          "[ResultsByFS]\nrfResults,rfDirOrFS\n"
          "[SDirectory]\ndirFilesystemID,dirStatisticID,dirFileCount,dirDirectoryCount,"
          "dirTotalSize,dirLargestSize,dir2ndLargestSize,dirSizes,dirCounts" +
          fa + "[SFile]\nsfFilesystemID,sfStatisticID,sfStatType" + fa +
          "[SMonDir]\nsmFilesystemID,smDirectoryID,smDirSpecs,smNewDirectory,smScanTime,"
          "smRemovedTime,smFilesystem" +
          fa +
          "[SSizeDist]\nszdFilesystemID,szdStatisticID,szdSizes,szdCounts\n"
          "[SSummary]\nsumFilesystemID,sumStatisticID,sumCapacity,sumFreeSpace,sumUsedSpace,"
          "sumTotalSize,sumFileCount,sumScanTime,sumAccumCount,sumType,sumDirectoryCount\n"
          "[STimeDist]\ntdFilesystemID,tdStatisticID,tdType,tdScanTime,tdAverageAge,tdSizes,"
          "tdCounts,tdAccumCount,tdHistType\n[SUGHist]\n" +
          totals + "\n[SUserOrGroup]\n" + totals +
          ",sugDirectoryCount,sugOtherCount,sugUnusedSpace,sugLargestSize,sug2ndLargestSize,"
          "sugSizes,sugCounts\n[FileScoreRule]\ncType,cOperator,cRule,cScore\n"
          "[SFileCandidate]\nsfHSMScore\n"
          "[UserOrGroup]\nugID,ugGroupID,ugName,ugDescription,ugDomainID,ugRemoved,ugComputerID,"
          "ugNameBytes,ugType\n[Domain]\ndmID,dmName\n[/Header]\n");
}

TEST(DefinitionTest, profileWritesItselfThenTheGivenResultsThenItsActions) {
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

// Whatever text a name holds, the reader finds it again in what was printed.
TEST(DefinitionTest, printedDirectoriesReadBack) {
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

TEST(ScanUtil, translatesNamesFromTheCatalog) {
  EXPECT_EQ(getTranslatedName("SQL_NAME_WASTED"), "SQL_NAME_WASTED") << "no log is open";
  const test::CapturedMessages log;
  const std::string byMod = naLog->text(msg::STA0544T);
  const std::string byModification = naLog->text(msg::STA0543T);
  ASSERT_NE(byMod, byModification);
  const std::vector<std::string> qualifiers{"GROUP", "GROUP.SUB"};
  for (const auto& [name, text] : std::map<std::string, std::string>{
           {"SQL_NAME_BYMOD", byMod},
           {"SQL_NAME_BYMODIFICATION", byModification},
           {"SQL_NAME_BYMODI", "SQL_NAME_BYMODI"},
           {"sql_name_bymod", "sql_name_bymod"},
           {"", ""},
           {"GROUP.SQL_NAME_BYMOD", "GROUP." + byMod},
           {"GROUP.SUB.SQL_NAME_BYMOD", "GROUP.SUB.SQL_NAME_BYMOD"},  // the first qualifier counts
           {"OTHER.SQL_NAME_BYMOD", "OTHER.SQL_NAME_BYMOD"}})
    EXPECT_EQ(getTranslatedName(name, qualifiers), text) << name;
}

const std::string HEADER = "DO NOT EDIT THIS FILE MANUALLY\n[Header]\n[ComputerID]\n";

class ComputerIDTest : public ::testing::Test {
 protected:
  void TearDown() override { ComputerID::cachedCID.reset(); }

  test::TempDir agent;
  const std::string file = agent.file("config/computerid.dat");
  test::CapturedMessages messages;
};

TEST_F(ComputerIDTest, identifierIsReadFromTheAgentsFile) {
  test::writeFile(file, HEADER +
                            "name,computerID\n[/Header]\n[Other]\n7\n[/Other]\n"
                            "[ComputerID]\n\"a,b\",\"17\"\n[/ComputerID]\n");
  ComputerID::load(agent.path());
  EXPECT_EQ(ComputerID::cachedCID, 17);
  std::filesystem::remove(file);
  ComputerID::load(agent.path());
  EXPECT_FALSE(ComputerID::cachedCID.has_value());
  EXPECT_TRUE(messages.lines.empty());
}

TEST_F(ComputerIDTest, brokenFileIsReportedAndLeavesNoIdentifier) {
  const struct {
    const char* what;
    std::string text;
  } rows[] = {
      {"no such field", HEADER + "id\n[/Header]\n[ComputerID]\n42\n[/ComputerID]\n"},
      {"second row unfit",
       HEADER + "computerID\n[/Header]\n[ComputerID]\n42\n43,44\n[/ComputerID]\n"},
      {"cut short", HEADER + "computerID\n[/Header]\n[ComputerID]\n42\n"},
  };
  for (const auto& row : rows) {
    test::writeFile(file, row.text);
    ComputerID::cachedCID = 42;
    messages.lines.clear();
    ComputerID::load(agent.path());
    EXPECT_FALSE(ComputerID::cachedCID.has_value()) << row.what;
    ASSERT_EQ(messages.of("GEN7001E").size(), 1U) << row.what;
    EXPECT_NE(messages.lines[0].find("Unable to parse datafile. " + file + ": "), std::string::npos)
        << messages.lines[0];
  }
}

}  // namespace
}  // namespace orv
