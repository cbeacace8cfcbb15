#include "Scan/accumulate/CuStatAccum.h"

#include "Scan/accumulate/AccumulatorFixture.h"
#include "Scan/definition/ComputerID.h"
#include "Scan/definition/CuStatDef.h"
#include "Scan/entry/UserTable.h"

namespace orv {
namespace {

using test::AccumulatorTest;

class CuStatAccumTest : public AccumulatorTest {
 protected:
  CuStatAccumTest() { profile.sdID = 7; }

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

TEST_F(CuStatAccumTest, recordsShareTheScanTimeAndTheFilesystemsFigures) {
  filesystem.fsCapacity = 100;
  filesystem.fsFreeSpace = 60;
  filesystem.fsUsedSpace = 40;
  profile.sdSummary = 1;
  profile.sdGroupByMod = true;
  CuStatAccum accum;
  for (const std::optional<std::int32_t> known :
       {std::optional(42), std::optional<std::int32_t>()}) {
    ComputerID::cachedCID = known;
    accum.buildAccum(profile, filesystem);
    EXPECT_EQ(filesystem.fsComputerID, known.value_or(-1));
  }
  const SSummary& summary = *accum.results()->srSummary;
  EXPECT_EQ(summary.sumCapacity, 100);
  EXPECT_EQ(summary.sumFreeSpace, 60);
  EXPECT_EQ(summary.sumUsedSpace, 40);
  EXPECT_GT(summary.sumScanTime, 0);
  EXPECT_EQ(summary.sumScanTime % 1000, 0);
  EXPECT_EQ(accum.results()->srModified->tdScanTime, summary.sumScanTime);
}

// Of each inode the first name met goes to the largest directories alone, every later one to all.
TEST_F(CuStatAccumTest, firstNamesOfHardLinksAreLeftOut) {
  profile.sdSummary = 1;
  profile.sdLargestDirectories = 1;
  CuStatAccum accum;
  for (int tree = 0; tree < 2; ++tree) {  // links are matched within one tree
    accum.buildAccum(profile, filesystem);
    enter(accum, "/");
    for (const std::uint64_t inode : {5ULL, 6ULL, 5ULL, 5ULL, 5ULL, ~0ULL, ~0ULL})
      show(accum, link(inode, 100));
    show(accum, entry(FT_REGULAR, 1));
    accum.actUpon(&scanner, nullptr);
    accum.directoryLeft();
    const std::unique_ptr<CuStatResults> results = accum.takeResults();
    EXPECT_EQ(results->srSummary->sumFileCount,
              5);  // 5 three times, the last inode once, the plain file
    EXPECT_EQ(results->srSummary->sumTotalSize, 401);
    EXPECT_EQ(results->srLargestDirectories.head()->dirFileCount, 8U);
  }
}

}  // namespace
}  // namespace orv
