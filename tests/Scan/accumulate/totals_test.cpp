#include "Scan/accumulate/AccumulatorFixture.h"
#include "Scan/accumulate/FileTypeAccum.h"
#include "Scan/accumulate/SummaryAccum.h"
#include "Scan/accumulate/UserOrGroupAccum.h"
#include "Scan/entry/UserOrGroup.h"
#include "Scan/results/CuStatResults.h"

namespace orv {
namespace {

using test::AccumulatorTest;
using test::listed;

class TotalsTest : public AccumulatorTest {
 protected:
  TotalsTest() {
    results.srID = 7;
    filesystem.fsScanTime = 5000;
  }
  void show(Accumulator& accumulator, FileAttributes info) {
    accumulator.accumulate(&scanner, &info);
  }

  static UserOrGroup user(std::uint32_t uid) {
    UserOrGroup identity;
    identity.ugID = static_cast<std::int32_t>(uid);
    return identity;
  }

  CuStatResults results;
};

TEST_F(TotalsTest, summaryCountsFilesDirectoriesAndEverySize) {
  results.srSummary = std::make_unique<SSummary>();
  SummaryAccum accumulator(results.srSummary.get());
  for (std::uint8_t type = FT_REGULAR; type <= FT_DEVICE; ++type)
    show(accumulator, entry(type, 10));
  accumulator.accumulate(&scanner, nullptr);
  accumulator.finish(nullptr);
  accumulator.finish(&results);
  EXPECT_EQ(results.srSummary->sumFileCount, 2);  // a regular file and a link
  EXPECT_EQ(results.srSummary->sumDirectoryCount, 1);
  EXPECT_EQ(results.srSummary->sumTotalSize, 60);
}

TEST_F(TotalsTest, summaryTakesOverTheResultsRecord) {
  SSummary own;
  SummaryAccum accumulator(&own);
  show(accumulator, entry(FT_REGULAR, 10));
  accumulator.finish(&results);
  EXPECT_EQ(own.sumTotalSize, 10) << "no record to take over";
  results.srSummary = std::make_unique<SSummary>();
  results.srSummary->sumTotalSize = 99;
  accumulator.finish(&results);
  EXPECT_EQ(own.sumTotalSize, 99);
}

TEST_F(TotalsTest, ownersRunFromTheHighestIdDown) {
  const UserOrGroup root = user(0);
  const UserOrGroup nobody = user(4294967294U);
  const UserOrGroup someone = user(2147483647U);
  UserOrGroupAccum accumulator(UserOrGroupAccum::OWNERS, filesystem);
  const auto showOf = [&](const UserOrGroup& owner, std::uint8_t type, std::int64_t length) {
    FileAttributes info = entry(type, length);
    info.faOwner = &owner;
    show(accumulator, info);
  };
  showOf(nobody, FT_DIRECTORY, 4096);
  showOf(root, FT_REGULAR, 5);
  showOf(someone, FT_SYMLINK, 7);
  showOf(root, FT_REGULAR, 30);
  showOf(root, FT_FIFO, 3);
  showOf(root, FT_SYMLINK, 12);
  show(accumulator, entry(FT_REGULAR, 1));  // of no owner
  accumulator.accumulate(&scanner, nullptr);
  accumulator.finish(nullptr);
  accumulator.finish(&results);
  accumulator.finish(&results);

  EXPECT_EQ(listed(results.srOwners, &SUserOrGroup::sugIdentity),
            (std::vector<const UserOrGroup*>{&nobody, &someone, &root}));
  EXPECT_TRUE(results.srGroups.empty());
  const SUserOrGroup& ofNobody = *results.srOwners.head();
  EXPECT_EQ(ofNobody.sugFileCount, 0U);
  EXPECT_EQ(ofNobody.sugDirectoryCount, 1U);
  EXPECT_EQ(ofNobody.sugTotalSize, 4096);
  EXPECT_EQ(ofNobody.sugLargestSize, 0);
  const SUserOrGroup& ofRoot = *ofNobody.next->next;
  EXPECT_EQ(ofRoot.sugFilesystemID, 3);
  EXPECT_EQ(ofRoot.sugStatisticID, 7);
  EXPECT_EQ(ofRoot.sugTimestamp, 5000);
  EXPECT_EQ(ofRoot.sugFileCount, 3U);
  EXPECT_EQ(ofRoot.sugTotalSize, 50);
  EXPECT_EQ(ofRoot.sugLargestSize, 30);
  EXPECT_EQ(ofRoot.sug2ndLargestSize, 12);
  EXPECT_EQ(ofRoot.sugSizes, (std::array<std::int64_t, 8>{0, 17, 30}));
  EXPECT_EQ(ofRoot.sugCounts, (std::array<std::int64_t, 8>{0, 2, 1}));
}

TEST_F(TotalsTest, groupsGoByTheGroupAlone) {
  UserOrGroup group;
  group.ugType = UserOrGroup::GROUP;
  group.ugGroupID = 100;
  const UserOrGroup owner = user(1);
  UserOrGroupAccum accumulator(UserOrGroupAccum::GROUPS, filesystem);
  FileAttributes info = entry(FT_REGULAR, 5);
  info.faOwner = &owner;
  show(accumulator, info);  // without a group
  info.faGroup = &group;
  show(accumulator, info);
  accumulator.finish(&results);
  EXPECT_EQ(listed(results.srGroups, &SUserOrGroup::sugIdentity),
            std::vector<const UserOrGroup*>{&group});
  EXPECT_EQ(results.srGroups.head()->sugFileCount, 1U);
  EXPECT_TRUE(results.srOwners.empty());
}

TEST(FileTypes, extensions) {
  struct Row {
    std::string_view name;
    const char* unixExtension;  // "" for none
    const char* winExtension;
  };
  const Row rows[] = {
      {"archive.tar.gz", "gz", "gz"},
      {"README", "", ""},
      {".profile", "", ""},
      {"/home/u/.bashrc", "", ""},
      {"a.b/c", "", ""},
      {"x.", "", ""},
      {"/d/x..", "", ""},
      {"data.abcdef", "abcdef", "abcdef"},
      {"photo.jpeg2000", "", "jpeg2000"},
      {"/d.d/photo.jpg", "jpg", "jpg"},
      {"/d/..conf", "conf", "conf"},
      {"/d/a.b c", "", ""},
      {"/d/a.b\\c", "", ""},
      {"/d/a.\xC3\xA9t\xC3\xA9", "\xC3\xA9t\xC3\xA9", ""},  // five bytes, three letters
      {"/d/a.\n", "\n", "\n"},
      {"/d/a.C", "C", "C"},
      {"a.b", "b", "b"},
      {"", "", ""},
      {".", "", ""},
  };
  for (const Row& row : rows)
    for (const bool winOS : {false, true}) {
      std::string_view ext;
      const bool found = FileTypeAccum::extractExtensionName(row.name, winOS, ext);
      EXPECT_EQ(ext, winOS ? row.winExtension : row.unixExtension) << row.name << winOS;
      EXPECT_EQ(found, !ext.empty()) << row.name << winOS;
    }
}

// Sizes: c 7 + 6 = 13, h 20, py 13, C 1. Of c and py, which tie, the one later in the alphabet
// ranks first; a full ranking refuses a tie with its lowest.
TEST_F(TotalsTest, fileTypesRankByTheirTotalSize) {
  for (const int kept : {4, 2}) {
    FileTypeAccum accumulator(7, kept);
    show(accumulator, entry(FT_REGULAR, 13, "/x.py"));
    show(accumulator, entry(FT_REGULAR, 7, "/x.c"));
    show(accumulator, entry(FT_REGULAR, 20, "/x.h"));
    show(accumulator, entry(FT_REGULAR, 6, "/y.c"));
    show(accumulator, entry(FT_REGULAR, 1, "/y.C"));
    show(accumulator, entry(FT_DIRECTORY, 500, "/conf.d"));
    show(accumulator, entry(FT_SYMLINK, 500, "/l.so"));
    show(accumulator, entry(FT_REGULAR, 500, "/README"));
    accumulator.accumulate(&scanner, nullptr);
    accumulator.finish(nullptr);
    accumulator.finish(&results);
    accumulator.finish(&results);
    const auto extensions = listed(
        results.srFileTypes, [](const FileTypeSummary& s) { return s.fileType->ftpFileExtension; });
    const std::vector<std::string> all = {"h", "py", "c", "C"};
    EXPECT_EQ(extensions, kept == 4 ? all : (std::vector<std::string>{"h", "c"}));
  }
  const FileTypeSummary& c = *results.srFileTypes.head()->next;
  EXPECT_EQ(c.profileID, 7);
  EXPECT_EQ(c.filesystemID, 3);
  EXPECT_EQ(c.fileCount, 2);
  EXPECT_EQ(c.spaceUsed, 13);
  EXPECT_EQ(c.fileType, &types.entry("c")) << "the second profile met the types of the first";
  EXPECT_EQ(types.entry("new").fptID, 5);
}

}  // namespace
}  // namespace orv
