// What the hostile tree of the flow tests does not show of the accumulators.
#include <deque>
#include <limits>
#include <map>
#include <random>

#include "Scan/accumulate/AccumulatorFixture.h"
#include "Scan/accumulate/DistributionAccums.h"
#include "Scan/accumulate/EntryAccums.h"
#include "Scan/accumulate/NMost.h"
#include "Scan/accumulate/TotalsAccums.h"
#include "Scan/results/CuStatResults.h"

namespace orv {
namespace {

using test::AccumulatorTest;
using test::listed;

constexpr std::int64_t MAX = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t MIN = std::numeric_limits<std::int64_t>::min();

struct Numbered {
  int number = 0;
  std::unique_ptr<Numbered> next;
};

// Which of the keys offered in this order are kept, as positions, highest rank first.
TEST(NMost, keepsTheHighestKeys) {
  const struct {
    int count;
    std::vector<std::int64_t> keys;
    std::vector<int> kept;
  } rows[] = {
      {3, {5, 5, 5, 5}, {2, 1, 0}},        // a full ranking refuses its lowest key
      {3, {4, 4, 4, 9}, {3, 2, 1}},        // among equal lowest keys the earliest goes
      {3, {9, 4, 4, 7, 7, 7}, {0, 4, 3}},  // 7 evicts both 4s, the third 7 is refused
      {2, {MIN, MIN, MIN, MAX}, {3, 1}},   // the ends of the range are keys like any other
      {3, {-1, -3}, {0, 1}},               // fewer than asked for
      {0, {1, MAX}, {}},
  };
  for (const auto& row : rows) {
    NMost<Numbered> most(row.count);
    for (std::size_t i = 0; i < row.keys.size(); ++i)
      if (most.mustAdd(row.keys[i])) {
        auto record = most.blank();
        record->number = static_cast<int>(i);
        most.add(std::move(record));
      }
    const auto chain = most.takeChain([](Numbered&) {});
    EXPECT_EQ(listed(chain, &Numbered::number), row.kept) << ::testing::PrintToString(row.keys);
  }
}

struct Placed : Numbered {
  std::string faPlace;
  std::unique_ptr<Placed> next;
};

// Whatever parts a walk is divided into, and in whatever order they are put together, they keep
// what the whole keeps; few keys, so that there are ties everywhere.
TEST(NMost, partsKeepWhatTheWholeKeeps) {
  std::minstd_rand random(1);
  const auto below = [&random](std::size_t limit) { return static_cast<int>(random() % limit); };
  const auto offer = [](auto& most, int key, auto&& like) {
    if (most.mustAdd(key, placeOf(like)))
      most.add(std::make_unique<std::decay_t<decltype(like)>>(std::move(like)));
  };
  for (int round = 0; round < 2000; ++round) {
    const int count = 1 + below(4);
    NMost<Numbered> whole(count);
    std::deque<NMost<Placed>> parts;
    for (int i = 0; i < 4; ++i)
      parts.emplace_back(count);
    std::vector<std::pair<int, int>> offered;  // position and key
    for (int i = 0; i < 60; ++i) {
      offered.emplace_back(i, below(4) + below(i < 30 ? 1 : 4));
      offer(whole, offered.back().second, Numbered{i, nullptr});
    }
    std::ranges::shuffle(offered, random);
    for (const auto& [i, key] : offered)
      offer(parts[static_cast<std::size_t>(below(3))], key,
            Placed{{i, nullptr}, std::string(1, static_cast<char>(i + 1)), nullptr});
    std::map<int, int> keys(offered.begin(), offered.end());
    for (int part : {2, 0, 1})
      parts[static_cast<std::size_t>(part)].forEach([&](const Placed& held) {
        offer(parts[3], keys[held.number], Placed{{held.number, nullptr}, held.faPlace, nullptr});
      });
    const auto expected = whole.takeChain([](Numbered&) {});
    const auto merged = parts[3].takeChain([](Placed&) {});
    ASSERT_EQ(listed(merged, &Placed::number), listed(expected, &Numbered::number)) << round;
  }
}

class AccumulatorsTest : public AccumulatorTest {
 protected:
  // Shows `files` to an accumulator and finishes it. Nulls and what comes after the finish change
  // nothing.
  template <typename Accum>
  void show(Accum&& accumulator, std::vector<FileAttributes> files) {
    accumulator.accumulate(&scanner, nullptr);
    for (FileAttributes& file : files)
      accumulator.accumulate(&scanner, &file);
    accumulator.finish(nullptr);
    accumulator.finish(&results);
    accumulator.accumulate(&scanner, &files.front());
    accumulator.finish(&results);
  }
  static std::string names(const RecordChain<SFile>& chain) {
    std::string all;
    for (const std::string& name : listed(chain, &SFile::faName))
      all += name + " ";
    return all;
  }
  static FileAttributes file(const std::string& name, std::uint32_t flags, std::int64_t accessed,
                             std::int64_t modified, std::int64_t blocks = 0) {
    FileAttributes info = entry(FT_REGULAR, 10 - blocks, name);
    info.faAttributes = flags;
    info.faAccessed = accessed;
    info.faModified = modified;
    info.faBlocks = blocks;
    return info;
  }

  CuStatResults results;
};

TEST_F(AccumulatorsTest, rankingsGoByTheirOwnKey) {
  filesystem.fsType = Filesystem::TYPE_FAT;  // there by blocks
  show(LargeFileAccum(1), {file("sparse", 0, 0, 0), file("dense", 0, 0, 0, 2)});
  EXPECT_EQ(names(results.srLargestFiles), "dense ");
  show(OldFileAccum(2), {file("1970", 0, 0, 0), file("old", 0, -1, 0), file("oldest", 0, MIN, 0)});
  EXPECT_EQ(names(results.srLeastAccessed), "oldest old ");
  show(VulnerableFileAccum(3), {file("saved", FA_ORPHAN, 1, 1), file("b", FA_ARCHIVE, 1, 20),
                                file("a", FA_ARCHIVE | FA_ORPHAN, 9, 10)});
  EXPECT_EQ(names(results.srOldestNotBackedUp), "a b ");
  EXPECT_EQ(results.srOldestNotBackedUp.head()->sfStatType, 2);
  show(OldestOrphansAccum(2), {file("owned", 0, 1, 1), file("b", FA_ORPHAN, 3, 1),
                               file("a", FA_ORPHAN, 2, 2), file("c", FA_ORPHAN, 4, 3)});
  EXPECT_EQ(names(results.srOldestOrphans), "a b ");
}

TEST_F(AccumulatorsTest, distributionsHaveTheirTimesAndSaturate) {
  // Two sparse files can claim more than 64 bits hold.
  SSizeDist sizes;
  SizeDistAccum accumulator(&sizes);
  FileAttributes info = entry(FT_REGULAR, MAX - 1);
  accumulator.accumulate(&scanner, &info);
  accumulator.accumulate(&scanner, &info);
  EXPECT_EQ(sizes.szdSizes[7], MAX);

  STimeDist record;
  info.faAccessed = 1;
  info.faModified = -5000;  // the scan starts at 0
  info.faCreated = 3;
  EXPECT_EQ(AccessedDistAccum(&record).time(&info), 1);
  EXPECT_EQ(ModifiedDistAccum(&record).time(&info), -5000);
  EXPECT_EQ(CreatedDistAccum(&record).time(&info), 3);
  BackupDistAccum backup(&record);
  EXPECT_THROW((void)backup.time(nullptr), std::exception);
  backup.accumulate(&scanner, &info);
  EXPECT_EQ(record.tdCounts[0], 0) << "without the archive flag";
  info.faAttributes = FA_ARCHIVE;
  backup.accumulate(&scanner, &info);
  backup.finish(nullptr);
  EXPECT_EQ(record.tdCounts[0], 1);
  EXPECT_EQ(record.tdAverageAge, 5);
}

TEST(FileTypes, extensions) {
  const struct {
    std::string_view name;
    const char* unixExtension;  // "" for none
    const char* winExtension;
  } rows[] = {
      {"archive.tar.gz", "gz", "gz"},
      {".profile", "", ""},
      {"a.b/c", "", ""},
      {"/d/x..", "", ""},
      {"data.abcdef", "abcdef", "abcdef"},
      {"data.abcdefg", "", "abcdefg"},
      {"/d/..conf", "conf", "conf"},
      {"/d/a.b\\c", "", ""},
      {"/d/a.\xC3\xA9t\xC3\xA9", "\xC3\xA9t\xC3\xA9", ""},  // five bytes, three letters
      {"/d/a.\n", "\n", "\n"},
      {"", "", ""},
  };
  for (const auto& row : rows)
    for (const bool winOS : {false, true}) {
      std::string_view ext;
      const bool found = FileTypeAccum::extractExtensionName(row.name, winOS, ext);
      EXPECT_EQ(ext, winOS ? row.winExtension : row.unixExtension) << row.name << winOS;
      EXPECT_EQ(found, !ext.empty()) << row.name << winOS;
    }
}

// Sizes: c 7 + 6 = 13, h 20, py 13, C 1. Of c and py, which tie, the one later in the alphabet
// ranks first; a full ranking refuses a tie with its lowest.
TEST_F(AccumulatorsTest, fileTypesRankByTheirTotalSize) {
  for (const int kept : {4, 2}) {
    show(FileTypeAccum(7, kept),
         {entry(FT_REGULAR, 13, "/x.py"), entry(FT_REGULAR, 7, "/x.c"),
          entry(FT_REGULAR, 20, "/x.h"), entry(FT_REGULAR, 6, "/y.c"), entry(FT_REGULAR, 1, "/y.C"),
          entry(FT_DIRECTORY, 500, "/conf.d")});
    std::string extensions;
    for (const FileType* type : listed(results.srFileTypes, &FileTypeSummary::fileType))
      extensions += type->ftpFileExtension + " ";
    EXPECT_EQ(extensions, kept == 4 ? "h py c C " : "h c ");
  }
}

}  // namespace
}  // namespace orv
