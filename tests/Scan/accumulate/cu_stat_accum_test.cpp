#include "Scan/accumulate/CuStatAccum.h"

#include <map>

#include "Common/ORVCommon/CommonAgentFactory.h"
#include "Scan/accumulate/AccumulatorFixture.h"
#include "Scan/definition/ComputerID.h"
#include "Scan/definition/CuStatDef.h"
#include "Scan/entry/UserOrGroup.h"

namespace orv {
namespace {

using test::AccumulatorTest;
using test::listed;

class CuStatAccumTest : public AccumulatorTest {
 protected:
  CuStatAccumTest() { profile.sdID = 7; }
  void TearDown() override { CommonAgentFactory::getCommonAgent()->isWindows = false; }

  void enter(CuStatAccum& accum, const std::string& name) {
    FileAttributes directory = entry(FT_DIRECTORY, 4096, name);
    accum.directoryEntered(&directory);
  }
  void show(FileAction& action, FileAttributes info) { action.actUpon(&scanner, &info); }

  static FileAttributes link(std::uint64_t inode, std::int64_t length) {
    FileAttributes info = entry(FT_REGULAR, length);
    info.faLinkCount = 2;
    info.faInodeNumber = inode;
    return info;
  }

  CuStatDef profile;
};

// The slots that one file, which has everything a statistic may look for, leaves filled.
TEST_F(CuStatAccumTest, switchesChooseTheStatistics) {
  using Def = CuStatDef;
  struct Row {
    const char* slots;
    void (*set)(Def&);
    bool isWindows = false;
  };
  const Row rows[] = {
      {"", [](Def&) {}},
      {"srLargestDirectories ", [](Def& d) { d.sdLargestDirectories = 1; }},
      {"srLargestFiles ", [](Def& d) { d.sdLargestFiles = 1; }},
      {"srLeastAccessed ", [](Def& d) { d.sdLeastAccessed = 1; }},
      {"srOldestNotBackedUp ", [](Def& d) { d.sdOldestNotBackedUp = 1; }},
      {"srLargestOrphans ", [](Def& d) { d.sdLargestOrphans = 1; }},
      {"srOldestOrphans ", [](Def& d) { d.sdOldestOrphans = 1; }},
      {"", [](Def& d) { d.sdLargestFiles = d.sdLargestDirectories = -1; }},
      {"srOwners ", [](Def& d) { d.sdGroupByOwner = true; }},
      {"srGroups ", [](Def& d) { d.sdGroupByGroup = true; }},
      {"", [](Def& d) { d.sdGroupByOwner = d.sdGroupByGroup = true; }, true},  // FAT
      {"srSummary ", [](Def& d) { d.sdSummary = 1; }},
      {"", [](Def& d) { d.sdSummary = 2; }},
      {"srSizeDist ", [](Def& d) { d.sdSizeDistribution = true; }},
      {"srAccessed ", [](Def& d) { d.sdGroupByAccess = true; }},
      {"srModified ", [](Def& d) { d.sdGroupByMod = true; }},
      {"srBackup ", [](Def& d) { d.sdGroupByBackup = true; }},
      {"", [](Def& d) { d.sdGroupByCreation = true; }},
      {"srCreated ", [](Def& d) { d.sdGroupByCreation = true; }, true},
      {"srFileTypes ", [](Def& d) { d.sdLargestFileTypes = 1; }},
      {"", [](Def& d) { d.sdLargestFileTypes = 1, d.sdWinOnlyFileType = true; }},
      {"srFileTypes ", [](Def& d) { d.sdLargestFileTypes = 1, d.sdWinOnlyFileType = true; }, true},
  };
  filesystem.fsType = Filesystem::TYPE_FAT;
  UserOrGroup identity;
  FileAttributes file = entry(FT_REGULAR, 10, "/a.b");
  file.faOwner = file.faGroup = &identity;
  file.faAttributes = FA_ORPHAN | FA_ARCHIVE;
  for (const Row& row : rows) {
    CommonAgentFactory::getCommonAgent()->isWindows = row.isWindows;
    CuStatDef def;
    row.set(def);
    CuStatAccum accum;
    accum.buildAccum(def, filesystem);
    enter(accum, "/");
    show(accum, file);
    accum.directoryLeft();
    const std::unique_ptr<CuStatResults> r = accum.takeResults();
    const std::pair<const char*, bool> filled[] = {
        {"srLargestDirectories ", !r->srLargestDirectories.empty()},
        {"srLargestFiles ", !r->srLargestFiles.empty()},
        {"srLeastAccessed ", !r->srLeastAccessed.empty()},
        {"srOldestNotBackedUp ", !r->srOldestNotBackedUp.empty()},
        {"srLargestOrphans ", !r->srLargestOrphans.empty()},
        {"srOldestOrphans ", !r->srOldestOrphans.empty()},
        {"srFileTypes ", !r->srFileTypes.empty()},
        {"srSummary ", r->srSummary && r->srSummary->sumFileCount == 1},
        {"srSizeDist ", r->srSizeDist && r->srSizeDist->szdCounts[1] == 1},
        {"srOwners ", !r->srOwners.empty()},
        {"srGroups ", !r->srGroups.empty()},
        {"srAccessed ", r->srAccessed && r->srAccessed->tdType == TD_ACCESSED},
        {"srModified ", r->srModified && r->srModified->tdType == TD_MODIFIED},
        {"srCreated ", r->srCreated && r->srCreated->tdType == TD_CREATED},
        {"srBackup ", r->srBackup && r->srBackup->tdType == TD_BACKUP},
    };
    std::string slots;
    for (const auto& [name, isFilled] : filled)
      slots += isFilled ? name : "";
    EXPECT_EQ(slots, row.slots) << "row " << &row - rows;
    EXPECT_EQ(def.sdGroupByCreation, row.isWindows && def.sdGroupByCreation);
  }
}

TEST_F(CuStatAccumTest, recordsShareTheScanTimeAndCarryTheCapacity) {
  filesystem.fsCapacity = 100;
  filesystem.fsFreeSpace = 60;
  filesystem.fsUsedSpace = 40;
  profile.sdSummary = 1;
  profile.sdGroupByAccess = profile.sdGroupByMod = true;
  CuStatAccum accum;
  accum.buildAccum(profile, filesystem);
  const SSummary& summary = *accum.results()->srSummary;
  EXPECT_EQ(summary.sumCapacity, 100);
  EXPECT_EQ(summary.sumFreeSpace, 60);
  EXPECT_EQ(summary.sumUsedSpace, 40);
  EXPECT_GT(summary.sumScanTime, 0);
  EXPECT_EQ(summary.sumScanTime % 1000, 0);
  EXPECT_EQ(accum.results()->srAccessed->tdScanTime, summary.sumScanTime);
  EXPECT_EQ(accum.results()->srModified->tdScanTime, summary.sumScanTime);
}

TEST_F(CuStatAccumTest, stampsTheFilesystemWithItsComputer) {
  CuStatAccum accum;
  for (const std::optional<std::int32_t> known :
       {std::optional(42), std::optional<std::int32_t>()}) {
    ComputerID::cachedCID = known;
    accum.buildAccum(profile, filesystem);
    EXPECT_EQ(filesystem.fsComputerID, known.value_or(-1));
  }
}

// Of each inode the first name met goes to the largest directories alone, every later one to all.
TEST_F(CuStatAccumTest, firstNamesOfHardLinksAreLeftOut) {
  profile.sdSummary = 1;
  profile.sdLargestDirectories = 1;
  CuStatAccum accum;
  for (int tree = 0; tree < 2; ++tree) {  // links are matched within one tree
    accum.buildAccum(profile, filesystem);
    enter(accum, "/");
    for (const std::uint64_t inode : {5ULL, 6ULL, 5ULL, 5ULL, ~0ULL, ~0ULL})
      show(accum, link(inode, 100));
    show(accum, entry(FT_REGULAR, 1));
    accum.actUpon(&scanner, nullptr);
    accum.directoryLeft();
    const std::unique_ptr<CuStatResults> results = accum.takeResults();
    EXPECT_EQ(results->srSummary->sumFileCount, 4);  // 5 twice, the last inode once, the plain file
    EXPECT_EQ(results->srSummary->sumTotalSize, 301);
    EXPECT_EQ(results->srLargestDirectories.head()->dirFileCount, 7U);
  }
}

TEST_F(CuStatAccumTest, finishesWhenTheTopDirectoryIsLeft) {
  profile.sdLargestFiles = profile.sdLargestDirectories = 5;
  CuStatAccum accum;
  accum.buildAccum(profile, filesystem);
  enter(accum, "/");
  enter(accum, "/d");
  show(accum, entry(FT_REGULAR, 1, "/d/f"));
  accum.directoryLeft();
  EXPECT_TRUE(accum.results()->srLargestFiles.empty());
  accum.directoryLeft();
  EXPECT_EQ(accum.results()->srLargestFiles.size(), 1U);
  EXPECT_EQ(accum.results()->srLargestDirectories.size(), 2U);
}

// An accumulator of a class that the container does not know is shown entries, but left alone.
TEST_F(CuStatAccumTest, unknownAccumulatorsAreNotDeleted) {
  class Foreign final : public Accumulator {
   public:
    explicit Foreign(std::string& log) : Accumulator("Foreign"), m_log(log) {}
    ~Foreign() override { m_log += "deleted "; }
    void accumulate(Scanner*, FileAttributes*) override { m_log += "shown "; }
    void finish(CuStatResults*) override { m_log += "finished "; }

   private:
    std::string& m_log;
  };
  class Open final : public CuStatAccum {
   public:
    using CuStatAccum::push;
  };
  std::string log;
  auto foreign = std::make_unique<Foreign>(log);
  Foreign* kept = foreign.get();
  {
    Open accum;
    accum.buildAccum(profile, filesystem);
    accum.push(std::move(foreign));
    enter(accum, "/");
    show(accum, entry(FT_REGULAR, 1));
    accum.directoryLeft();
    accum.releaseAccumulators();
    show(accum, entry(FT_REGULAR, 1));
  }
  EXPECT_EQ(log, "shown finished ");
  delete kept;
}

}  // namespace
}  // namespace orv
