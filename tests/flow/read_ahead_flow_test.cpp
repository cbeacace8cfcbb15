// Whole jobs that read ahead of the walk: nothing that happens to the tree meanwhile does them
// harm.

#include <sys/stat.h>
#include <unistd.h>

#include <random>

#include "support/Job.h"

namespace orv::test {
namespace {

class ReadAheadFlow : public Job {
 protected:
  void SetUp() override {
    root = area.file("root");
    std::filesystem::create_directories(root);
    mountEntry(root);
  }

  void makeFiles(const std::string& directory, int count) {
    std::filesystem::create_directories(directory);
    for (int i = 0; i < count; ++i)
      (void)::mknod((directory + "/f" + std::to_string(i)).c_str(), S_IFREG | 0644, 0);
  }

  TempDir area;
  std::string root;
};

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
  Process changer([&]() -> int { keepChanging(root, elsewhere); });
  for (const char* threads : {"1", "2", "8", "8", "8", "-1", "-8"}) {
    // With a minus: lanes, with a time-out that nothing comes near.
    const bool isTimed = *threads == '-';
    env["ORV_WALK_THREADS"] = isTimed ? threads + 1 : threads;
    define(Definition().filesystem(5, root).directory(6, root + "/d*").profile(42, "3", SUMMARY));
    const int code = run({"-nfstimeout", isTimed ? "1000" : "0"});
    // 4 tells of a directory whose reading failed.
    EXPECT_TRUE(code == 0 || code == 4) << code << "\n" << log();
    const ResultTree file = result();
    const ResultNode& entry = *file.root().all("CuStatDef").front()->all("ResultsByFS").front();
    const Row& summary = entry.one("CuStatResults").one("SSummary").row();
    EXPECT_GE(std::stol(summary.at("sumFileCount")), 3'000);
  }
  changer.kill();
  EXPECT_EQ(Process({"/bin/chmod", "-R", "u+rwX", root, elsewhere}, {}, "/dev/null").wait(), 0);
}

}  // namespace
}  // namespace orv::test
