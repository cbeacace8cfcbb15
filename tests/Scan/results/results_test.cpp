#include <gtest/gtest.h>

#include "Scan/entry/FileType.h"
#include "Scan/results/CuStatResults.h"
#include "runtime/ut/ORVException.h"

namespace orv {
namespace {

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
