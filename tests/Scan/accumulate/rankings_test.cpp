#include <limits>

#include "Scan/accumulate/AccumulatorFixture.h"
#include "Scan/accumulate/FileAccum.h"
#include "Scan/accumulate/LargeDirAccum.h"
#include "Scan/accumulate/NMost.h"
#include "Scan/results/CuStatResults.h"

namespace orv {
namespace {

using test::AccumulatorTest;
using test::listed;

constexpr std::int64_t KIB = 1024;
constexpr std::int64_t GIB = KIB * KIB * KIB;
constexpr std::int64_t MAX = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t MIN = std::numeric_limits<std::int64_t>::min();

struct Numbered {
  int number = 0;
  std::unique_ptr<Numbered> next;
};

// Which of the keys offered in this order are kept, as positions, highest rank first.
TEST(NMost, keepsTheHighestKeys) {
  struct Row {
    int count;
    std::vector<std::int64_t> keys;
    std::vector<int> kept;
  };
  const Row rows[] = {
      {3, {5, 5, 5, 5}, {2, 1, 0}},        // a full ranking refuses its lowest key
      {2, {1, 2, 3}, {2, 1}},              // the lowest goes
      {3, {4, 4, 4, 9}, {3, 2, 1}},        // among equal lowest keys the earliest goes
      {3, {9, 4, 4, 7, 7, 7}, {0, 4, 3}},  // 7 evicts both 4s, the third 7 is refused
      {2, {MIN, MIN, MIN, MAX}, {3, 1}},   // the ends of the range are keys like any other
      {3, {-1, -3}, {0, 1}},               // fewer than asked for
      {1, {1, 2, 3, 4, 5, 4}, {4}},
      {2, {}, {}},
      {0, {1, MAX}, {}},
  };
  for (const Row& row : rows) {
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

TEST(NMost, reusesTheEvictedRecordAndRefusesNull) {
  NMost<Numbered> most(1);
  ASSERT_TRUE(most.mustAdd(1));
  auto first = most.blank();
  const Numbered* evicted = first.get();
  most.add(std::move(first));
  ASSERT_TRUE(most.mustAdd(2));
  most.add(most.blank());
  EXPECT_EQ(most.blank().get(), evicted);
  ASSERT_TRUE(most.mustAdd(3));
  most.add(nullptr);
  EXPECT_EQ(most.takeChain([](Numbered&) {}).size(), 1U);
}

class RankingsTest : public AccumulatorTest {
 protected:
  // Shows `files` to an accumulator that keeps `count` of them. Nulls and what comes after the
  // finish change nothing.
  template <typename Accum>
  void rank(int count, std::vector<FileAttributes> files) {
    Accum accumulator(count);
    FileAttributes& first = files.front();
    accumulator.accumulate(nullptr, &first);
    accumulator.accumulate(&scanner, nullptr);
    for (FileAttributes& file : files)
      accumulator.accumulate(&scanner, &file);
    results.srID = 7;
    accumulator.finish(nullptr);
    accumulator.finish(&results);
    accumulator.accumulate(&scanner, &first);
    accumulator.finish(&results);
  }

  static std::vector<std::string> names(const RecordChain<SFile>& chain) {
    return listed(chain, &SFile::faName);
  }

  static FileAttributes file(const std::string& name, std::int64_t length,
                             std::uint32_t flags = 0) {
    FileAttributes info = entry(FT_REGULAR, length, name);
    info.faAttributes = flags;
    return info;
  }

  static FileAttributes dated(const std::string& name, std::int64_t accessed, std::int64_t modified,
                              std::uint32_t flags) {
    FileAttributes info = file(name, 1, flags);
    info.faAccessed = accessed;
    info.faModified = modified;
    return info;
  }

  CuStatResults results;
};

// Low 32 bits, signed: 3 GiB is -1 GiB, 4 GiB + 77 is 77, 2 GiB is the lowest key of all.
TEST_F(RankingsTest, largestFilesRankByTheLowWordOfTheirSize) {
  rank<LargeFileAccum>(5, {file("1K", KIB), file("3G", 3 * GIB), file("4G+77", 4 * GIB + 77),
                           file("2G-1", 2 * GIB - 1), file("2G", 2 * GIB), file("0", 0)});
  EXPECT_EQ(names(results.srLargestFiles),
            (std::vector<std::string>{"2G-1", "1K", "4G+77", "0", "3G"}));
  const SFile* head = results.srLargestFiles.head();
  EXPECT_EQ(head->sfFilesystemID, 3);
  EXPECT_EQ(head->sfStatisticID, 7);
  EXPECT_EQ(head->sfStatType, 0);
  EXPECT_EQ(head->faLength, 2 * GIB - 1);
}

TEST_F(RankingsTest, largestFilesRankByBlocksOnFat) {
  const FileAttributes sparse = file("sparse", GIB);
  FileAttributes dense = file("dense", KIB);
  dense.faBlocks = 2;
  for (const std::int16_t type : {Filesystem::TYPE_FAT, Filesystem::TYPE_FAT32}) {
    filesystem.fsType = type;
    rank<LargeFileAccum>(1, {sparse, dense});
    EXPECT_EQ(names(results.srLargestFiles), std::vector<std::string>{"dense"}) << type;
  }
}

TEST_F(RankingsTest, onlyFilesAndLinksAreRanked) {
  std::vector<FileAttributes> entries;
  for (std::uint8_t type = FT_UNKNOWN; type <= FT_FOREIGN; ++type)
    entries.push_back(entry(type, 10, std::to_string(type)));
  rank<LargeFileAccum>(10, entries);
  EXPECT_EQ(names(results.srLargestFiles), (std::vector<std::string>{"2", "1"}));
}

TEST_F(RankingsTest, oldestFilesRankByAccess) {
  rank<OldFileAccum>(3, {dated("new", 9000, 0, 0), dated("1970", 0, 0, 0), dated("old", -1, 0, 0),
                         dated("oldest", MIN, 0, 0)});
  EXPECT_EQ(names(results.srLeastAccessed), (std::vector<std::string>{"oldest", "old", "1970"}));
  EXPECT_EQ(results.srLeastAccessed.head()->sfStatType, 1);
}

TEST_F(RankingsTest, vulnerableFilesHaveTheArchiveFlagAndRankByModification) {
  rank<VulnerableFileAccum>(3, {dated("saved", 1, 1, FA_ORPHAN), dated("b", 1, 20, FA_ARCHIVE),
                                dated("a", 9, 10, FA_ARCHIVE | FA_ORPHAN)});
  EXPECT_EQ(names(results.srOldestNotBackedUp), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(results.srOldestNotBackedUp.head()->sfStatType, 2);
}

TEST_F(RankingsTest, orphansRankByFullSizeAndByAccess) {
  const std::vector<FileAttributes> files = {file("owned", 9 * GIB), file("3G", 3 * GIB, FA_ORPHAN),
                                             file("1K", KIB, FA_ORPHAN),
                                             file("4G", 4 * GIB, FA_ORPHAN | FA_EXECUTABLE)};
  rank<LargestOrphansAccum>(3, files);
  EXPECT_EQ(names(results.srLargestOrphans), (std::vector<std::string>{"4G", "3G", "1K"}));
  EXPECT_EQ(results.srLargestOrphans.head()->sfStatType, 3);

  rank<OldestOrphansAccum>(2, {dated("owned", 1, 1, 0), dated("b", 3, 1, FA_ORPHAN),
                               dated("a", 2, 1, FA_ORPHAN), dated("c", 4, 1, FA_ORPHAN)});
  EXPECT_EQ(names(results.srOldestOrphans), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(results.srOldestOrphans.head()->sfStatType, 4);
}

class LargeDirTest : public AccumulatorTest {
 protected:
  void enter(const std::string& name) {
    FileAttributes directory = entry(FT_DIRECTORY, 4096, name);
    accumulator.newDirectory(&directory);
  }
  void show(FileAttributes info) { accumulator.accumulate(&scanner, &info); }
  void leave() { accumulator.leaveDirectory(); }

  LargeDirAccum accumulator{2, filesystem};
  CuStatResults results;
};

// Largest and second largest after entries of these types and sizes: what is no regular file pushes
// the largest down without taking its place.
TEST_F(LargeDirTest, largestSizes) {
  struct Row {
    std::vector<std::pair<EntryType, std::int64_t>> entries;
    std::int64_t largest;
    std::int64_t second;
  };
  const EntryType f = FT_REGULAR;
  const Row rows[] = {
      {{{f, 5}, {f, 9}, {f, 7}}, 9, 7},
      {{{f, 5}, {f, 5}}, 5, 5},
      {{{f, 9}, {FT_DIRECTORY, 10}}, 9, 9},
      {{{f, 9}, {FT_SYMLINK, 10}, {f, 9}}, 9, 9},
      {{{f, 9}, {f, 2}, {FT_DIRECTORY, 5}}, 9, 2},
      {{{FT_DIRECTORY, 10}, {f, 3}}, 3, 0},
      {{{f, 9}, {FT_FIFO, 12}, {f, 4}}, 9, 9},
  };
  for (const Row& row : rows) {
    LargeDirAccum one(1, filesystem);
    FileAttributes directory = entry(FT_DIRECTORY, 0);
    one.newDirectory(&directory);
    for (const auto& [type, length] : row.entries) {
      FileAttributes info = entry(type, length);
      one.accumulate(&scanner, &info);
    }
    one.leaveDirectory();
    one.finish(&results);
    const SDirectory* record = results.srLargestDirectories.head();
    EXPECT_EQ(record->dirLargestSize, row.largest) << &row - rows;
    EXPECT_EQ(record->dir2ndLargestSize, row.second) << &row - rows;
  }
}

// /: 4096 (a) + 30 = 4126; /a: 4096 (b) + 10 + 10 = 4116; /a/b: 5000, of a hard-linked file's
// names.
TEST_F(LargeDirTest, directoriesRankByTheirDirectEntries) {
  results.srID = 7;
  FileAttributes link = entry(FT_REGULAR, 2500);
  link.faLinkCount = 2;
  show(link);  // outside of any directory
  enter("/");
  show(entry(FT_DIRECTORY, 4096));
  enter("/a");
  show(entry(FT_REGULAR, 10));
  show(entry(FT_DIRECTORY, 4096));
  enter("/a/b");
  show(link);
  show(link);
  leave();
  show(entry(FT_SOCKET, 10));
  leave();
  show(entry(FT_SYMLINK, 30));
  leave();
  accumulator.newDirectory(nullptr);
  leave();
  accumulator.finish(nullptr);
  accumulator.finish(&results);

  const auto& chain = results.srLargestDirectories;
  EXPECT_EQ(listed(chain, &SDirectory::faName), (std::vector<std::string>{"/a/b", "/"}));
  const SDirectory& ab = *chain.head();
  EXPECT_EQ(ab.dirFilesystemID, 3);
  EXPECT_EQ(ab.dirStatisticID, 7);
  EXPECT_EQ(ab.dirFileCount, 2U);
  EXPECT_EQ(ab.dirTotalSize, 5000);
  EXPECT_EQ(ab.dirCounts[4], 2U);
  EXPECT_EQ(ab.dirSizes[4], 5000);
  const SDirectory& root = *ab.next;
  EXPECT_EQ(root.dirTotalSize, 4126);
  EXPECT_EQ(root.dirFileCount, 1U);
  EXPECT_EQ(root.dirDirectoryCount, 1U);
}

TEST_F(LargeDirTest, directoriesStillOpenAreDropped) {
  enter("/");
  enter("/done");
  leave();
  enter("/open");
  accumulator.finish(&results);
  EXPECT_EQ(listed(results.srLargestDirectories, &SDirectory::faName),
            std::vector<std::string>{"/done"});
  show(entry(FT_REGULAR, 1));
  leave();
}

}  // namespace
}  // namespace orv
