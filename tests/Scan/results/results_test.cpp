#include <gtest/gtest.h>

#include "Probe/Filesystem.h"
#include "Scan/entry/FileType.h"
#include "Scan/results/CuStatResults.h"
#include "runtime/ut/ORVException.h"
#include "support/Printed.h"

namespace orv {
namespace {

using test::printed;

std::string printedOf(const CuStatResults& results) {
  return printed([&](GenericPrint& print) { results.printData(print); });
}

constexpr const char* FA_NAMES =
    "faType,faName,faOwner,faGroup,faCreated,faModified,faAccessed,faBlocks,faLength,faAttributes,"
    "faLinkCount,faInodeNumber";

TEST(ResultRecords, headerLinesNameTheFieldsInOrder) {
  const std::string fa = std::string(",") + FA_NAMES + "\n";
  struct Row {
    void (*header)(GenericPrint&);
    std::string line;
  };
  const Row rows[] = {
      {CuStatResults::printHeader,
       "srID,srLargestDirectories,srLargestFiles,srLeastAccessed,srOldestNotBackedUp,"
       "srLargestOrphans,srOldestOrphans,srFileTypes,srSummary,srSizeDist,srOwners,srGroups,"
       "srAccessed,srModified,srCreated,srBackup,srHSMScoring\n"},
      {ResultsByFS::printHeader, "rfResults,rfDirOrFS\n"},
      {SSummary::printHeader,
       "sumFilesystemID,sumStatisticID,sumCapacity,sumFreeSpace,sumUsedSpace,sumTotalSize,"
       "sumFileCount,sumScanTime,sumAccumCount,sumType,sumDirectoryCount\n"},
      {SSizeDist::printHeader, "szdFilesystemID,szdStatisticID,szdSizes,szdCounts\n"},
      {STimeDist::printHeader,
       "tdFilesystemID,tdStatisticID,tdType,tdScanTime,tdAverageAge,tdSizes,tdCounts,tdAccumCount,"
       "tdHistType\n"},
      {SUGHist::printHeader,
       "sugFilesystemID,sugStatisticID,sugIdentity,sugFileCount,sugTotalSize,sugTimestamp,"
       "sugAccumCount,sugType\n"},
      {SUserOrGroup::printHeader,
       "sugFilesystemID,sugStatisticID,sugIdentity,sugFileCount,sugTotalSize,sugTimestamp,"
       "sugAccumCount,sugType,sugDirectoryCount,sugOtherCount,sugUnusedSpace,sugLargestSize,"
       "sug2ndLargestSize,sugSizes,sugCounts\n"},
      {FileTypeSummary::printHeader, "profileID,filesystemID,fileCount,spaceUsed,fileType\n"},
      {FileType::printHeader, "fptID,ftpFileExtension,ftpDescription\n"},
      {SDirectory::printHeader,
       "dirFilesystemID,dirStatisticID,dirFileCount,dirDirectoryCount,dirTotalSize,dirLargestSize,"
       "dir2ndLargestSize,dirSizes,dirCounts" +
           fa},
      {SFile::printHeader, "sfFilesystemID,sfStatisticID,sfStatType" + fa},
      {SFileCandidate::printHeader, "sfHSMScore\n"},
      {SMonDir::printHeader,
       "smFilesystemID,smDirectoryID,smDirSpecs,smNewDirectory,smScanTime,smRemovedTime,"
       "smFilesystem" +
           fa},
      {UserOrGroup::printHeader,
       "ugID,ugGroupID,ugName,ugDescription,ugDomainID,ugRemoved,ugComputerID,ugNameBytes,"
       "ugType\n"},
  };
  for (const Row& row : rows)
    EXPECT_EQ(printed(row.header), row.line);
}

TEST(ResultRecords, resultsWithoutRecordsAreTheirCounts) {
  CuStatResults results;
  results.srID = 7;
  EXPECT_EQ(printedOf(results),
            "[CuStatResults]\n"
            R"("7","0","0","0","0","0","0","0","0","0","0","0","0","0","0","0","0")"
            "\n[/CuStatResults]\n");
}

// Names hold what the filesystem lets them hold: the line stays one line and reads back whole.
TEST(ResultRecords, hostileNamesStayInTheirLine) {
  UserOrGroup owner;
  owner.ugName = "a\"b,c";
  auto file = std::make_unique<SFile>();
  file->faType = FT_REGULAR;
  file->faName = "/d/[/SFile]\n\"x\", \xff\r";
  file->faOwner = &owner;
  file->faLength = 5;
  file->faLinkCount = 1;
  file->faInodeNumber = ~0ULL;
  file->sfFilesystemID = 3;
  file->sfStatisticID = 7;
  file->sfStatType = SF_OLDEST_ORPHANS;
  CuStatResults results;
  results.srOldestOrphans.pushFront(std::move(file));

  const std::string text = printedOf(results);
  EXPECT_NE(text.find("[SFile,srOldestOrphans]\n"
                      "\"3\",\"7\",\"4\",\"1\",\"/d/[/SFile] \"\"x\"\", \xff \",\"a\"\"b,c\",,"
                      "\"0\",\"0\",\"0\",\"0\",\"5\",\"0\",\"1\",\"18446744073709551615\"\n"
                      "[/SFile]\n"),
            std::string::npos)
      << text;
}

// Slots come in header order, highest rank first; identities follow the records that refer to them.
TEST(ResultRecords, slotsAndIdentities) {
  UserOrGroup root;
  root.ugName = "root";
  UserOrGroup nobody;
  nobody.ugType = UserOrGroup::GROUP;
  nobody.ugGroupID = -2;  // gid 4294967294
  nobody.ugName = "nobody";
  FileTypeTable types;

  CuStatResults results;
  results.srID = 7;
  results.srOwners.pushFront(std::make_unique<SUserOrGroup>());
  results.srOwners.head()->sugIdentity = &root;
  results.srGroups.pushFront(std::make_unique<SUserOrGroup>());
  results.srGroups.head()->sugIdentity = &nobody;
  results.srGroups.head()->sugSizes[7] = 9;
  for (const char* extension : {"c", "h"}) {
    auto summary = std::make_unique<FileTypeSummary>();
    summary->fileType = &types.entry(extension);
    results.srFileTypes.pushFront(std::move(summary));
  }
  results.srSizeDist = std::make_unique<SSizeDist>();
  results.srSizeDist->szdCounts = {1, 2, 3, 4, 5, 6, 7, 8};
  results.srBackup = std::make_unique<STimeDist>();
  results.srBackup->tdType = TD_BACKUP;
  results.srBackup->tdAverageAge = -5;

  EXPECT_EQ(printedOf(results),
            "[CuStatResults]\n"
            R"("7","0","0","0","0","0","0","2","0","1","1","1","0","0","0","1","0")"
            "\n[FileTypeSummary,srFileTypes]\n"
            R"("0","0","0","0","2")"
            "\n"
            R"("0","0","0","0","1")"
            "\n[/FileTypeSummary]\n"
            "[FileType,srFileTypes]\n\"2\",\"h\",\n\"1\",\"c\",\n[/FileType]\n"
            "[SSizeDist,srSizeDist]\n"
            R"("0","0","0,0,0,0,0,0,0,0","1,2,3,4,5,6,7,8")"
            "\n[/SSizeDist]\n"
            "[SUserOrGroup,srOwners]\n"
            R"("0","0","0","0","0","0","0","0","0","0","0","0","0",)"
            R"("0,0,0,0,0,0,0,0","0,0,0,0,0,0,0,0")"
            "\n[/SUserOrGroup]\n"
            "[UserOrGroup,srOwners]\n"
            R"("0","0","root",,"-1","N","-1",,"1")"
            "\n[/UserOrGroup]\n"
            "[SUserOrGroup,srGroups]\n"
            R"("0","0","4294967294","0","0","0","0","0","0","0","0","0","0",)"
            R"("0,0,0,0,0,0,0,9","0,0,0,0,0,0,0,0")"
            "\n[/SUserOrGroup]\n"
            "[UserOrGroup,srGroups]\n"
            R"("0","4294967294","nobody",,"-1","N","-1",,"2")"
            "\n[/UserOrGroup]\n"
            "[STimeDist,srBackup]\n"
            R"("0","0","3","0","-5","0,0,0,0,0,0,0,0,0,0","0,0,0,0,0,0,0,0,0,0","0","0")"
            "\n[/STimeDist]\n"
            "[/CuStatResults]\n");
}

TEST(ResultsByFS, namesItsSubject) {
  Filesystem filesystem;
  filesystem.fsID = 42;
  const auto text = [](const ResultsByFS& entry) {
    return printed([&](GenericPrint& print) { entry.printData(print); });
  };
  ResultsByFS onFilesystem(filesystem);
  EXPECT_EQ(text(onFilesystem), "") << "nothing gathered yet";
  onFilesystem.rfResults = std::make_unique<CuStatResults>();
  onFilesystem.rfResults->srID = 7;
  EXPECT_TRUE(text(onFilesystem)
                  .starts_with("[ResultsByFS,Filesystem]\n\"7\",\"42\"\n"
                               "[CuStatResults]\n"));

  auto monDir = std::make_shared<SMonDir>();
  monDir->smFilesystem = &filesystem;
  monDir->smFilesystemID = 42;
  monDir->smDirSpecs = {11, 12};
  monDir->faName = "/home";
  const ResultsByFS onDirectory(filesystem, monDir, std::make_unique<CuStatResults>());
  EXPECT_TRUE(text(onDirectory)
                  .starts_with("[ResultsByFS,SMonDir]\n\"0\",\"11\"\n[SMonDir]\n"
                               "\"42\",\"0\",\"11,12\",\"N\",\"0\",\"0\",\"42\",\"0\",\"/home\","));
  EXPECT_TRUE(text(onDirectory).ends_with("[/CuStatResults]\n[/ResultsByFS]\n"));
}

TEST(SSizeDist, readsItsListsBack) {
  SSizeDist record;
  record.inititializeObject({"szdCounts", "unknown", "szdSizes", "szdStatisticID"},
                            {{"1,2,3,4,5,6,7,8,9", "x", "10,,x,40", "5"}});
  EXPECT_EQ(record.szdCounts, (std::array<std::int64_t, 8>{1, 2, 3, 4, 5, 6, 7, 8}));
  EXPECT_EQ(record.szdSizes, (std::array<std::int64_t, 8>{10, 0, 0, 40, 0, 0, 0, 0}));
  EXPECT_EQ(record.szdStatisticID, 5);
  EXPECT_THROW(record.inititializeObject({"szdSizes"}, {{"1"}, {"2", "3"}}),
               OrvObjectCreationException);
  EXPECT_EQ(record.szdSizes[0], 10) << "no field is set when a row does not fit";
}

// A recursive release of a chain this long would overrun the stack.
TEST(RecordChain, releasesAMillionRecords) {
  RecordChain<SUserOrGroup> chain;
  for (int i = 0; i < 1'000'000; ++i)
    chain.pushFront(std::make_unique<SUserOrGroup>());
  EXPECT_EQ(chain.size(), 1'000'000U);
  RecordChain<SUserOrGroup> other;
  other.pushFront(std::make_unique<SUserOrGroup>());
  chain = std::move(other);
  EXPECT_EQ(chain.size(), 1U);
}

}  // namespace
}  // namespace orv
