#include "Scan/walk/WalkFixture.h"
#include "runtime/thrd/StopFlag.h"
#include "runtime/ut/ORVException.h"

namespace orv::test {
namespace {

using ScannerTest = WalkTest;

TEST_F(ScannerTest, snapshotDirectoriesAreLeftOutAtTheTopOnly) {
  makeFile("x.snapshotfoo/in");
  makeFile("a/.snapshot/in");
  makeFile(".snapshot.txt");
  ASSERT_EQ(scan(dir.path()), 0);
  EXPECT_FALSE(recorder.has(dir.file("x.snapshotfoo")));
  EXPECT_FALSE(recorder.has(dir.file("x.snapshotfoo/in")));
  EXPECT_TRUE(recorder.has(dir.file("a/.snapshot/in")));
  EXPECT_TRUE(recorder.has(dir.file(".snapshot.txt")));
  // The root, a, .snapshot, in and the file: what is left out is not counted.
  EXPECT_TRUE(counted(5)) << messages.lines.back();
}

TEST_F(ScannerTest, flashcopyIsPassedOverOnZenfsOnly) {
  makeFile(".flashcopy/in");
  for (const auto type : std::initializer_list<std::int16_t>{18, 19, 20, 11}) {
    recorder.names.clear();
    ASSERT_EQ(scan(dir.path(), 1, type), 0);
    EXPECT_EQ(recorder.has(dir.file(".flashcopy")), type != 18 && type != 19) << type;
  }
}

TEST_F(ScannerTest, treeIsReadDownToLevel199) {
  makeChain("", "d", 201);
  ASSERT_EQ(scan(dir.path()), 0);
  // Levels 0 to 199 are open at most: the directory at level 200 is met, but not entered.
  EXPECT_EQ(recorder.deepest, 200);
  EXPECT_EQ(recorder.names.size(), 201U);
  ASSERT_EQ(messages.of("STA0001E").size(), 1U);
  EXPECT_NE(messages.of("STA0001E")[0].find(recorder.names.back() + " "), std::string::npos);
}

TEST_F(ScannerTest, pathsThatAreTooLongAreReportedAndCounted) {
  // 16 levels of 255 characters pass the 4,095 characters that can be examined.
  makeChain("", std::string(255, 'n'), 17);
  ASSERT_EQ(scan(dir.path()), 0);
  const std::size_t reachable = (4095 - dir.path().size()) / 256;
  EXPECT_EQ(recorder.names.size(), reachable + 1);
  EXPECT_EQ(messages.of("STA0063E").size(), 1U);
  EXPECT_TRUE(counted(reachable + 2)) << messages.lines.back();
}

TEST_F(ScannerTest, rootThatCannotBeExaminedFailsTheWalk) {
  EXPECT_EQ(scan(dir.file("missing")), 8);
  EXPECT_EQ(messages.of("STA0529E").size(), 1U);
  EXPECT_TRUE(recorder.lines.empty());
}

TEST_F(ScannerTest, entriesWithTooLongLocalPathsAreCountedInOneMessage) {
  makeFile(std::string(200, 'd') + "/in");
  makeFile(std::string(200, 'f'));
  makeFile("near");
  for (const int timeout : {0, 1000}) {
    messages.lines.clear();
    recorder.names.clear();
    EXPECT_EQ(scan("/" + std::string(3900, 'x'), 1, 11, timeout, dir.path()), 4);
    ASSERT_EQ(messages.of("STA0140W").size(), 1U);
    EXPECT_NE(messages.of("STA0140W").front().find("too long: 2."), std::string::npos);
    EXPECT_EQ(recorder.names.size(), 2U);
  }
}

TEST_F(ScannerTest, stopFlagEndsTheWalk) {
  makeFile("a");
  agentStop = true;
  std::unique_ptr<ScanAbortException> thrown;
  try {
    (void)scan(dir.path());
  } catch (ScanAbortException* exception) {
    thrown.reset(exception);
  }
  agentStop = false;
  ASSERT_NE(thrown, nullptr);
  EXPECT_EQ(thrown->message, "Scan abort initiated by Server -> terminating scan");
}

}  // namespace
}  // namespace orv::test
