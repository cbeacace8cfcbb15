// Whole jobs that read ahead of the walk: their results equal those of one thread, and nothing that
// happens to the tree meanwhile does them harm.

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <random>
#include <regex>

#include "support/HostileTree.h"
#include "support/Job.h"

namespace orv::test {
namespace {

const Fields EVERYTHING = {
    {"sdSummary", "Y"},         {"sdSizeDistribution", "Y"}, {"sdGroupByOwner", "Y"},
    {"sdGroupByGroup", "Y"},    {"sdGroupByAccess", "Y"},    {"sdGroupByMod", "Y"},
    {"sdGroupByCreation", "Y"}, {"sdGroupByBackup", "Y"},    {"sdLargestDirectories", "25"},
    {"sdLargestFiles", "500"},  {"sdLeastAccessed", "25"},   {"sdOldestNotBackedUp", "25"},
    {"sdLargestOrphans", "25"}, {"sdOldestOrphans", "25"},   {"sdLargestFileTypes", "25"}};

// What tells when a job ran, and how full the tree's filesystem was then.
const std::regex MOMENTARY(
    ".*ScanTime|fs.*Space|fs.*Inodes|sum.*(Space|Capacity|Inodes)|sugTimestamp|tdAverageAge|.*"
    "Timestamp");

// The result as text, a line per value, but for what is momentary.
void flatten(const ResultNode& node, std::string& text) {
  text += "[" + node.name + "," + node.qualifier + "]\n";
  for (const Row& row : node.rows)
    for (const auto& [name, value] : row)
      if (!std::regex_match(name, MOMENTARY))
        text += name + "=" + value + "\n";
  for (const ResultNode& child : node.children)
    flatten(child, text);
}

class ReadAheadFlow : public Job {
 protected:
  void SetUp() override {
    root = area.file("root");
    std::filesystem::create_directories(root);
    mountEntry(root);
  }

  // Runs of files are links to one another, which a disk makes faster.
  void makeFiles(const std::string& directory, int count) {
    std::filesystem::create_directories(directory);
    std::string first;
    for (int i = 0; i < count; ++i) {
      const std::string path = directory + "/f" + std::to_string(i) + ".x" + std::to_string(i % 9);
      if (i % 64 == 0) {
        first = path;
        writeFile(path, std::string(static_cast<std::size_t>(i % 1000), 'x'));
      } else {
        ASSERT_EQ(::link(first.c_str(), path.c_str()), 0);
      }
    }
  }

  int runWith(const std::string& threads) {
    env["ORV_WALK_THREADS"] = threads;
    std::filesystem::remove(agent() + "/log/scan.log");
    define(Definition()
               .filesystem(5, root)
               .directory(6, root + "/links")
               .profile(42, "3", EVERYTHING));
    return run();
  }

  // The messages of the last job without what tells when it ran.
  [[nodiscard]] std::string messages() const {
    return std::regex_replace(log(), std::regex("(^|\n)[-0-9]+ [0-9:.]+ "), "\n");
  }

  TempDir area;
  std::string root;
};

TEST_F(ReadAheadFlow, resultsAreThoseOfOneThread) {
  const HostileTree hostile(root);
  // Ages that straddle the bounds would differ from job to job.
  std::filesystem::remove_all(root + "/times");
  makeFiles(root + "/steps", 5'000);
  makeFiles(root + "/window", 12'000);
  for (int i = 0; i < 200; ++i) {
    makeFiles(root + "/steps/d" + std::to_string(i), i % 5);
    makeFiles(root + "/window/d" + std::to_string(i), i % 3);
  }
  std::string deep = root + "/deep";
  for (int level = 0; level < 202; ++level)
    std::filesystem::create_directory(level == 0 ? deep : deep += "/d");
  ASSERT_EQ(runWith("1"), 0) << log();
  std::string expected;
  flatten(result().root(), expected);
  const std::string said = messages();
  EXPECT_NE(said.find("STA0001E"), std::string::npos);
  for (const char* threads : {"2", "8"}) {
    ASSERT_EQ(runWith(threads), 0) << log();
    std::string actual;
    flatten(result().root(), actual);
    const auto differs =
        std::mismatch(expected.begin(), expected.end(), actual.begin(), actual.end()).first;
    const auto at = static_cast<std::size_t>(differs - expected.begin());
    // The whole difference of two such texts would fill the screen.
    EXPECT_TRUE(actual == expected)
        << threads << " threads, one thread gives\n"
        << expected.substr(at - std::min<std::size_t>(at, 200), 400) << "\nthese\n"
        << actual.substr(at - std::min<std::size_t>(at, 200), 400);
    EXPECT_EQ(messages(), said) << threads << " threads";
  }
}

// Keeps creating, deleting, renaming and barring what lies below `root`, until it is killed. Some
// of it passes through the links that lead to `elsewhere`, which must hold nothing of worth.
[[noreturn]] void keepChanging(const std::string& root, const std::string& elsewhere) {
  std::minstd_rand random(7);
  const auto pick = [&random](int count) {
    return std::to_string(random() % static_cast<unsigned>(count));
  };
  for (;;) {
    const std::string directory = root + "/d" + pick(40);
    const std::string inner = directory + "/inner" + pick(3);
    const std::string file = inner + "/f" + pick(50);
    switch (random() % 7) {
      case 0:
        ::mkdir(directory.c_str(), 0755);
        ::mkdir(inner.c_str(), 0755);
        break;
      case 1:
        ::mknod(file.c_str(), S_IFREG | 0644, 0);
        break;
      case 2:
        ::unlink(file.c_str());
        ::rmdir(inner.c_str());
        break;
      case 3:
        ::rename(directory.c_str(), (root + "/d" + pick(40) + "/moved" + pick(3)).c_str());
        break;
      case 4:
        ::chmod(inner.c_str(), random() % 2 == 0 ? 0 : 0755);
        break;
      case 5:
        // A directory gives way to a link, and the other way round.
        ::unlink(inner.c_str());
        ::rename(inner.c_str(), (directory + "/away" + pick(9)).c_str());
        ::symlink(elsewhere.c_str(), inner.c_str());
        break;
      default:
        ::rename((directory + "/away" + pick(9)).c_str(), inner.c_str());
    }
  }
}

TEST_F(ReadAheadFlow, aTreeThatKeepsChangingDoesNoHarm) {
  for (int i = 0; i < 40; ++i)
    makeFiles(root + "/d" + std::to_string(i) + "/inner0", 50);
  makeFiles(root + "/steps", 3'000);
  const std::string elsewhere = area.file("elsewhere");
  makeFiles(elsewhere, 50);
  const pid_t changer = ::fork();
  if (changer == 0)
    keepChanging(root, elsewhere);
  for (const char* threads : {"1", "2", "8", "8", "8"}) {
    const int code = runWith(threads);
    // 4 tells of a directory whose reading failed.
    EXPECT_TRUE(code == 0 || code == 4) << code << "\n" << log();
    EXPECT_GE(std::stol(result()
                            .root()
                            .all("CuStatDef")
                            .front()
                            ->all("ResultsByFS")
                            .front()
                            ->one("CuStatResults")
                            .one("SSummary", "srSummary")
                            .row()
                            .at("sumFileCount")),
              3'000);
  }
  ::kill(changer, SIGKILL);
  ::waitpid(changer, nullptr, 0);
  EXPECT_EQ(Process({"/bin/chmod", "-R", "u+rwX", root, elsewhere}, {}, "/dev/null").wait(), 0);
}

TEST_F(ReadAheadFlow, sigtermInTheMiddleEndsWith8) {
  makeFiles(root + "/steps", 40'000);
  // Every step of a fully traced walk takes long enough for the signal to find it under way.
  env["ORV_WALK_THREADS"] = "8";
  define(Definition().filesystem(5, root).profile(1, "1", SUMMARY));
  Process process = start({"-debug", "MAX"});
  const auto isWalking = [this] {
    return exists(traceFile()) && readFile(traceFile()).find("next(...)") != std::string::npos;
  };
  while (!isWalking())
    ::usleep(1'000);
  process.signal(SIGTERM);
  EXPECT_EQ(process.wait(), 8) << log();
  EXPECT_FALSE(exists(outputFile()));
}

}  // namespace
}  // namespace orv::test
