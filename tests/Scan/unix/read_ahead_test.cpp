// The walk with helpers that read ahead of it: what it shows to its actions and says in messages
// equals the walk of one thread.

#include "Scan/unix/ReadAhead.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <functional>

#include "Scan/entry/FileType.h"
#include "Scan/entry/UserTable.h"
#include "Scan/unix/ScannerUnix.h"
#include "Scan/unix/UnixUserTable.h"
#include "Scan/walk/FileAction.h"
#include "runtime/thrd/StopFlag.h"
#include "runtime/ut/ORVException.h"
#include "support/CapturedMessages.h"
#include "support/HostileTree.h"
#include "support/TempDir.h"

namespace orv {
namespace {

// Writes down all that the walk shows, entry by entry.
class Diary final : public FileAction {
 public:
  Diary() : FileAction("Diary") {}
  void actUpon(Scanner* scanner, FileAttributes* info) override {
    std::string line = info->faName;
    for (const std::int64_t figure :
         {std::int64_t{info->faType}, info->faLength, info->faBlocks, info->faModified,
          std::int64_t{info->faAttributes}, std::int64_t{info->faLinkCount},
          static_cast<std::int64_t>(info->faInodeNumber)})
      line += " " + std::to_string(figure);
    lines.push_back(line + " " + info->faOwner->ugName + " " + info->faGroup->ugName);
    if (atEntry)
      atEntry(*static_cast<ScannerUnix*>(scanner), lines.size());
  }
  void directoryEntered(FileAttributes* info) override { lines.push_back("in " + info->faName); }
  void directoryLeft() override { lines.emplace_back("out"); }

  std::vector<std::string> lines;
  std::function<void(ScannerUnix&, std::size_t)> atEntry;  // with the number of lines so far
};

class ReadAheadTest : public ::testing::Test {
 protected:
  // The whole diary of a walk, its code and its messages.
  std::vector<std::string> walk(int threads, const std::string& root) {
    test::CapturedMessages messages;
    Filesystem filesystem;
    filesystem.fsMountPoint = root;
    filesystem.fsType = 11;
    UberTable uberTable;
    UnixUserTable users{uberTable};
    FileTypeTable fileTypes;
    Diary diary;
    diary.atEntry = atEntry;
    WalkOptions options;
    options.helpers = threads;
    ScannerUnix scanner(filesystem, {{&diary, nullptr}}, users, fileTypes, options);
    EXPECT_EQ(scanner.readAhead() != nullptr, threads > 1);
    diary.lines.push_back("code " + std::to_string(scanner.scan()));
    EXPECT_EQ(threads > 1 ? scanner.readAhead()->entriesAhead() : 0, 0) << threads;
    diary.lines.insert(diary.lines.end(), messages.lines.begin(), messages.lines.end());
    return diary.lines;
  }

  void expectSameWalks(const std::string& root, std::size_t atLeast) {
    const auto expected = walk(1, root);
    EXPECT_GE(expected.size(), atLeast);
    for (const int threads : {2, 3, 8, 64}) {
      const auto actual = walk(threads, root);
      const auto [one, other] =
          std::mismatch(expected.begin(), expected.end(), actual.begin(), actual.end());
      EXPECT_EQ(one == expected.end() ? "the end" : *one,
                other == actual.end() ? "the end" : *other)
          << threads << " threads, line " << one - expected.begin();
    }
  }

  // Files of which runs of 64 are one, which a disk makes faster.
  void makeFiles(const std::string& directory, int count) {
    std::filesystem::create_directories(dir.file(directory));
    std::string first;
    for (int i = 0; i < count; ++i) {
      const std::string path = dir.file(directory) + "/f" + std::to_string(i);
      if (i % 64 == 0) {
        first = path;
        ASSERT_EQ(::mknod(path.c_str(), S_IFREG | 0644, 0), 0);
      } else {
        ASSERT_EQ(::link(first.c_str(), path.c_str()), 0);
      }
    }
  }

  // `levels` nested directories named `name`, however long their path grows.
  void makeChain(const std::string& top, const std::string& name, int levels) {
    std::filesystem::create_directories(dir.file(top));
    UniqueFd parent(::open(dir.file(top).c_str(), O_DIRECTORY | O_CLOEXEC));
    for (int level = 0; level < levels; ++level) {
      ASSERT_EQ(::mkdirat(parent.get(), name.c_str(), 0755), 0);
      parent.reset(::openat(parent.get(), name.c_str(), O_DIRECTORY | O_CLOEXEC));
    }
  }

  test::TempDir dir;
  std::function<void(ScannerUnix&, std::size_t)> atEntry;
};

TEST_F(ReadAheadTest, hostileTreeDepthAndLengthAreMetAlike) {
  const test::HostileTree hostile(dir.file("hostile"));
  makeChain("deep", "d", 205);
  // Read ahead, then found to be beyond what can be examined: the walk gives it up.
  makeChain("long", std::string(255, 'n'), 18);
  makeFiles(".snapshots/x", 10);
  makeFiles("a.snapshotfoo/x", 10);
  makeFiles("kept/.snapshot/x", 10);
  makeFiles("empty", 0);
  expectSameWalks(dir.path(), 500);
}

TEST_F(ReadAheadTest, largeDirectoriesAreMetAlike) {
  // Several steps in stream order, subdirectories in each; two windows; a window within a window.
  makeFiles("steps", 9'000);
  makeFiles("windows", 70'000);
  makeFiles("windows/inner", 11'000);
  for (int i = 0; i < 300; ++i) {
    makeFiles("steps/d" + std::to_string(i), i % 7);
    makeFiles("windows/d" + std::to_string(i) + "/x", 2);
  }
  ASSERT_EQ(::truncate(dir.file("windows/f66000").c_str(), 123), 0);
  expectSameWalks(dir.path(), 90'000);
}

TEST_F(ReadAheadTest, directoriesThatCannotBeOpenedAreReportedInTurn) {
  for (int i = 0; i < 1'500; ++i) {
    const std::string path = dir.file("d" + std::to_string(i));
    ASSERT_EQ(::mkdir(path.c_str(), i % 3 == 0 ? 0755 : 0), 0);
  }
  ::chmod(dir.path().c_str(), 0755);
  const uid_t user = ::geteuid();
  ASSERT_EQ(::seteuid(user == 0 ? 65534 : user), 0);
  expectSameWalks(dir.path(), 500 + 1'500);
  const auto lines = walk(8, dir.path());
  EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                          [](const std::string& line) { return line.starts_with("STA0121E "); }),
            1'000);
  ASSERT_EQ(::seteuid(user), 0);
}

TEST_F(ReadAheadTest, aRootThatCannotBeOpenedIsReported) {
  expectSameWalks(dir.file("missing"), 3);
}

TEST_F(ReadAheadTest, fewDescriptorsAreEnough) {
  const test::HostileTree hostile(dir.file("hostile"));
  makeFiles("steps", 5'000);
  rlimit limit{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
  for (const rlim_t descriptors : {rlim_t{40}, rlim_t{330}}) {
    const rlimit few{descriptors, limit.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
    expectSameWalks(dir.path(), 5'000);
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
  }
}

TEST_F(ReadAheadTest, helpersStopAtTheBudget) {
  constexpr int HELPERS = 8;
  for (int i = 0; i < 60; ++i)
    makeFiles("d" + std::to_string(i), 1'000);
  std::int64_t most = 0;
  atEntry = [&most](ScannerUnix& scanner, std::size_t line) {
    if (scanner.readAhead() == nullptr)
      return;
    // The first entry below the root: the walk rests until the helpers have filled the budget.
    while (line > 2 && most < ReadAhead::BUDGET) {
      ::usleep(1'000);
      most = std::max(most, scanner.readAhead()->entriesAhead());
    }
    most = std::max(most, scanner.readAhead()->entriesAhead());
  };
  (void)walk(HELPERS, dir.path());
  // Each helper may have found room for the step that it was reading.
  EXPECT_LE(most, ReadAhead::BUDGET + HELPERS * 1'100);
}

TEST_F(ReadAheadTest, stopFlagEndsWalkAndHelpers) {
  for (int i = 0; i < 20; ++i)
    makeFiles("d" + std::to_string(i), 1'000);
  std::size_t shown = 0;
  atEntry = [&shown](ScannerUnix&, std::size_t line) {
    shown = line;
    if (line > 500)
      agentStop = true;
  };
  ScanAbortException* thrown = nullptr;
  try {
    (void)walk(8, dir.path());
  } catch (ScanAbortException* exception) {
    thrown = exception;
  }
  agentStop = false;
  ASSERT_NE(thrown, nullptr);
  delete thrown;
  EXPECT_EQ(shown, 501U);
}

TEST(WalkThreads, onlyPositiveNumbersAskForHelpers) {
  struct Row {
    const char* text;
    int threads;
  };
  const Row rows[] = {{nullptr, 1},
                      {"", 1},
                      {"1", 1},
                      {"0", 1},
                      {"-4", 1},
                      {"2", 2},
                      {"8", 8},
                      {"64", 64},
                      {"65", 64},
                      {"99999999999999", 64},
                      {"-99999999999999", 1},
                      {"4x", 1},
                      {" 4", 1},
                      {"four", 1}};
  for (const Row& row : rows)
    EXPECT_EQ(walkThreads(row.text), row.threads) << (row.text == nullptr ? "unset" : row.text);
}

}  // namespace
}  // namespace orv
