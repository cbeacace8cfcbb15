// The walk with helpers that read ahead of it: what it shows to its actions and says in messages
// equals the walk of one thread.

#include "Scan/unix/ReadAhead.h"

#include <dirent.h>
#include <sys/resource.h>

#include "Scan/walk/WalkFixture.h"
#include "runtime/thrd/StopFlag.h"
#include "runtime/ut/ORVException.h"
#include "support/HostileTree.h"

namespace orv::test {
namespace {

class ReadAheadTest : public WalkTest {
 protected:
  // All that a walk shows, its code and its messages.
  std::vector<std::string> walk(int threads, const std::string& root, int timeout = 0) {
    messages.lines.clear();
    recorder.lines.clear();
    recorder.names.clear();
    recorder.lines.push_back("code " + std::to_string(scan(root, threads, 11, timeout)));
    recorder.lines.insert(recorder.lines.end(), messages.lines.begin(), messages.lines.end());
    return recorder.lines;
  }

  void expectSameWalks(const std::string& root, std::size_t atLeast) {
    const auto expected = walk(1, root);
    EXPECT_GE(expected.size(), atLeast);
    const struct {
      int helpers;
      int timeout;  // seconds, which nothing here comes near; 0 for threads
    } rows[] = {{2, 0}, {3, 0}, {8, 0}, {64, 0}, {1, 1000}, {2, 1000}, {8, 1000}};
    for (const auto& row : rows) {
      const auto actual = walk(row.helpers, root, row.timeout);
      const auto [one, other] =
          std::mismatch(expected.begin(), expected.end(), actual.begin(), actual.end());
      EXPECT_EQ(one == expected.end() ? "the end" : *one,
                other == actual.end() ? "the end" : *other)
          << row.helpers << " helpers, time-out " << row.timeout << ", line "
          << one - expected.begin();
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
};

TEST_F(ReadAheadTest, hostileTreeDepthAndLengthAreMetAlike) {
  const HostileTree hostile(dir.file("hostile"));
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
  // In whatever order they are examined, entries come in the order of the stream.
  std::vector<std::string> files;
  DIR* stream = ::opendir(dir.file("windows").c_str());
  while (const dirent* entry = ::readdir(stream))
    if (entry->d_name[0] == 'f')
      files.push_back(dir.file("windows/") + entry->d_name);
  ::closedir(stream);
  (void)walk(1, dir.path());
  std::erase_if(recorder.names, [this](const std::string& name) {
    return !name.starts_with(dir.file("windows/f"));
  });
  EXPECT_TRUE(recorder.names == files);
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

TEST_F(ReadAheadTest, fewDescriptorsAreEnough) {
  const HostileTree hostile(dir.file("hostile"));
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
  recorder.atEntry = [&most](ScannerUnix& scanner, std::size_t line) {
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
  recorder.atEntry = [&shown](ScannerUnix&, std::size_t line) {
    shown = line;
    if (line > 500)
      agentStop = true;
  };
  std::unique_ptr<ScanAbortException> thrown;
  try {
    (void)walk(8, dir.path());
  } catch (ScanAbortException* exception) {
    thrown.reset(exception);
  }
  agentStop = false;
  EXPECT_NE(thrown, nullptr);
  EXPECT_EQ(shown, 501U);
}

TEST(WalkThreads, onlyPositiveNumbersAskForHelpers) {
  struct Row {
    const char* text;
    int threads;
  };
  const Row rows[] = {{nullptr, 1},
                      {"", 1},
                      {"0", 1},
                      {"-4", 1},
                      {"2", 2},
                      {"64", 64},
                      {"65", 64},
                      {"99999999999999", 64},
                      {"-99999999999999", 1},
                      {"4x", 1},
                      {" 4", 1}};
  for (const Row& row : rows)
    EXPECT_EQ(walkThreads(row.text), row.threads) << (row.text == nullptr ? "unset" : row.text);
}

}  // namespace
}  // namespace orv::test
