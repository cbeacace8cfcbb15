#include <algorithm>
#include <stdexcept>

#include "Scan/accumulate/AccumulatorFixture.h"
#include "Scan/accumulate/SummaryAccum.h"
#include "Scan/accumulate/TimeDistAccum.h"
#include "Scan/results/DistributionRecords.h"

namespace orv {
namespace {

using test::AccumulatorTest;

constexpr std::int64_t DAY = 86400;

TEST(SizeRanges, boundsAreInclusive) {
  const std::int64_t bounds[] = {2, 20, 200, 2048, 20480, 204800, 1024000};
  for (std::size_t i = 0; i < std::size(bounds); ++i) {
    EXPECT_EQ(SizeRanges::bucket(bounds[i] - 1), i) << bounds[i];
    EXPECT_EQ(SizeRanges::bucket(bounds[i]), i) << bounds[i];
    EXPECT_EQ(SizeRanges::bucket(bounds[i] + 1), i + 1) << bounds[i];
  }
  EXPECT_EQ(SizeRanges::bucket(-1), 0U);
  EXPECT_EQ(SizeRanges::bucket(INT64_MIN), 0U);
  EXPECT_EQ(SizeRanges::bucket(INT64_MAX), 7U);
}

class DistributionsTest : public AccumulatorTest {
 protected:
  // A file of `length` bytes whose three times give it that age in seconds: the scan starts at 0.
  static FileAttributes aged(std::int64_t age, std::int64_t length = 1) {
    FileAttributes info = entry(FT_REGULAR, length);
    info.faAccessed = info.faModified = info.faCreated = -age * 1000;
    return info;
  }

  // The average age of files of these ages.
  std::int64_t averageOf(const std::vector<std::int64_t>& ages) {
    STimeDist average;
    average.tdAverageAge = UNTOUCHED;
    AccessedDistAccum accumulator(&average);
    for (const std::int64_t age : ages) {
      FileAttributes info = aged(age);
      accumulator.accumulate(&scanner, &info);
    }
    accumulator.finish(nullptr);
    return average.tdAverageAge;
  }

  // Where a file of that age, 40 bytes long, is counted.
  std::size_t bucketOf(std::int64_t age) {
    STimeDist one;
    ModifiedDistAccum accumulator(&one);
    FileAttributes info = aged(age, 40);
    accumulator.accumulate(&scanner, &info);
    const auto bucket = std::find(one.tdCounts.begin(), one.tdCounts.end(), 1);
    EXPECT_TRUE(std::equal(one.tdCounts.begin(), one.tdCounts.end(), one.tdSizes.begin(),
                           [](auto count, auto size) { return size == 40 * count; }));
    return static_cast<std::size_t>(bucket - one.tdCounts.begin());
  }

  static constexpr std::int64_t UNTOUCHED = 12345;
  STimeDist record;
};

TEST_F(DistributionsTest, sizesCountEveryType) {
  SSizeDist sizes;
  SizeDistAccum accumulator(&sizes);
  for (std::uint8_t type = FT_REGULAR; type <= FT_DEVICE; ++type) {
    FileAttributes info = entry(type, 21);
    accumulator.accumulate(&scanner, &info);
    accumulator.accumulate(nullptr, &info);
  }
  accumulator.accumulate(&scanner, nullptr);
  EXPECT_EQ(sizes.szdCounts, (std::array<std::int64_t, 8>{0, 0, 6}));
  EXPECT_EQ(sizes.szdSizes, (std::array<std::int64_t, 8>{0, 0, 6 * 21}));
}

// Two sparse files can claim more than 64 bits hold.
TEST_F(DistributionsTest, sumsStopAtTheEndOfTheirRange) {
  SSizeDist sizes;
  SizeDistAccum accumulator(&sizes);
  FileAttributes info = entry(FT_REGULAR, INT64_MAX - 1);
  accumulator.accumulate(&scanner, &info);
  accumulator.accumulate(&scanner, &info);
  EXPECT_EQ(sizes.szdSizes[7], INT64_MAX);
  EXPECT_EQ(sizes.szdCounts[7], 2);
}

TEST_F(DistributionsTest, ageBoundsAreInclusive) {
  const std::int64_t bounds[] = {DAY,      7 * DAY,   30 * DAY,  60 * DAY,
                                 90 * DAY, 180 * DAY, 270 * DAY, 365 * DAY + DAY / 4};
  for (std::size_t i = 0; i < std::size(bounds); ++i) {
    EXPECT_EQ(bucketOf(bounds[i]), i) << bounds[i];
    EXPECT_EQ(bucketOf(bounds[i] + 1), i + 1) << bounds[i];
  }
  EXPECT_EQ(bucketOf(-DAY), 0U);
  EXPECT_EQ(bucketOf(-DAY - 1), 9U);
  EXPECT_EQ(bucketOf(1LL << 53), 8U);
  EXPECT_EQ(bucketOf(-(1LL << 53)), 9U);
}

// Milliseconds are cut toward 1970 before the age is taken, so 1 ms before the bound is within it.
TEST_F(DistributionsTest, fractionsOfASecondAreCut) {
  AccessedDistAccum accumulator(&record);
  FileAttributes info = aged(DAY);
  info.faAccessed -= 999;
  accumulator.accumulate(&scanner, &info);
  EXPECT_EQ(record.tdCounts[0], 1);
}

TEST_F(DistributionsTest, averageAge) {
  EXPECT_EQ(averageOf({10, 21}), 15);
  EXPECT_EQ(averageOf({-DAY, -DAY + 1}), -DAY + 1) << "a quotient is cut toward zero";
  EXPECT_EQ(averageOf({-DAY - 1, 4}), 4) << "the future has no part in it";
  EXPECT_EQ(averageOf({-DAY - 1}), UNTOUCHED);
  EXPECT_EQ(averageOf({}), UNTOUCHED);
}

TEST_F(DistributionsTest, eachDistributionHasItsTime) {
  FileAttributes info = entry(FT_REGULAR, 1);
  info.faAccessed = 1;
  info.faModified = 2;
  info.faCreated = 3;
  EXPECT_EQ(AccessedDistAccum(&record).time(&info), 1);
  EXPECT_EQ(ModifiedDistAccum(&record).time(&info), 2);
  EXPECT_EQ(CreatedDistAccum(&record).time(&info), 3);
  EXPECT_EQ(BackupDistAccum(&record).time(&info), 2);
  EXPECT_THROW((void)AccessedDistAccum(&record).time(nullptr), std::exception);
  EXPECT_THROW((void)ModifiedDistAccum(&record).time(nullptr), std::exception);
  EXPECT_THROW((void)CreatedDistAccum(&record).time(nullptr), std::exception);
  EXPECT_THROW((void)BackupDistAccum(&record).time(nullptr), std::exception);
}

TEST_F(DistributionsTest, backupCountsFilesWithTheArchiveFlag) {
  BackupDistAccum accumulator(&record);
  FileAttributes info = aged(5);
  accumulator.accumulate(&scanner, &info);
  accumulator.accumulate(&scanner, nullptr);
  accumulator.accumulate(nullptr, &info);
  EXPECT_EQ(record.tdCounts[0], 0);
  info.faAttributes = FA_ARCHIVE;
  accumulator.accumulate(&scanner, &info);
  accumulator.finish(nullptr);
  EXPECT_EQ(record.tdCounts[0], 1);
  EXPECT_EQ(record.tdAverageAge, 5);
}

}  // namespace
}  // namespace orv
