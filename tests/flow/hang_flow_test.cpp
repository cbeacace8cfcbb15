// Jobs over mounts that do not answer.

#include <fstream>
#include <sstream>

#include "flow/MountJob.h"
#include "support/HangFs.h"

namespace orv::test {
namespace {

class HangFlow : public MountJob {
 protected:
  void SetUp() override {
    MountJob::SetUp();
    if (!IsSkipped() && !HangFs::isPossible())
      GTEST_SKIP() << "SKIPPED: needs /dev/fuse";
    std::filesystem::create_directories(mounted());
    writeFile(source() + "/dir/file", "12345");
    writeFile(source() + "/last", "1");
  }

  [[nodiscard]] std::string source() const { return area.file("source"); }
  [[nodiscard]] std::string mounted() const { return area.file("mounted"); }

  // Filesystem 1 is the one that hangs, filesystem 2 a tmpfs with a file in it.
  void defineBoth() {
    define(Definition()
               .filesystem(1, mounted())
               .filesystem(2, area.file("tmp"))
               .profile(1, "1", FIGURES));
  }
  void mountTmpfs() {
    mountAt("tmp");
    writeFile(area.file("tmp/below/file"), "1234567");
  }

  // The results of both, or of the tmpfs only.
  void expectResults(const std::vector<std::string>& filesystems) {
    std::vector<std::string> found;
    const ResultTree tree = result();
    for (const ResultNode* profile : tree.root().all("CuStatDef")) {
      const ResultNode& entry = profile->one("ResultsByFS");
      const std::string id = entry.row().at("rfDirOrFS");
      found.push_back(id);
      const Oracle oracle(id == "1" ? source() : area.file("tmp"), 1, 0, &HangFlow::canAnswer);
      expectFigures(entry, oracle, "filesystem " + id);
    }
    EXPECT_EQ(found, filesystems);
  }
  static bool canAnswer(const OracleEntry& entry) {
    for (const char* hidden : {"/hang-stat", "/hang-open/", "/hang-read/"})
      if (entry.path.find(hidden) != std::string::npos)
        return false;
    return true;
  }

  // The log's lines of that message.
  [[nodiscard]] std::vector<std::string> messages(const std::string& id) const {
    std::vector<std::string> found;
    std::istringstream lines(log());
    for (std::string line; std::getline(lines, line);)
      if (const auto at = line.find(id); at != std::string::npos)
        found.push_back(line.substr(at));
    return found;
  }
};

TEST_F(HangFlow, whatDoesNotAnswerIsReportedAndTheRestIsCounted) {
  for (const char* name : {"dir/hang-stat", "hang-open/x", "hang-read/x"})
    writeFile(source() + "/" + name, "1");
  inMounts([this] {
    const HangFs server(source(), mounted());
    mountTmpfs();
    // The second job finds the locks free, although calls of the first one still hang.
    for (int round = 0; round < 2; ++round) {
      defineBoth();
      EXPECT_EQ(run({"-nfstimeout", "1"}), 0);
      expectResults({"1", "2"});
    }
    for (const std::string& said : {"STA0063E Cannot examine " + mounted() + "/dir/hang-stat",
                                    "STA0121E Cannot open directory " + mounted() + "/hang-open",
                                    "STA0121E Cannot open directory " + mounted() + "/hang-read"})
      EXPECT_NE(log().find(said + ": Connection timed out"), std::string::npos) << said;
    // The root, dir and the two in it, hang-open, hang-read, last.
    EXPECT_NE(log().find("walk is complete: 7 entries"), std::string::npos) << log();
  });
}

TEST_F(HangFlow, aServerThatStopsEndsTheWalkOfItsFilesystemOnly) {
  for (int i = 0; i < 5; ++i)
    writeFile(source() + "/hang-stat" + std::to_string(i), "");
  for (int i = 0; i < 20; ++i)
    writeFile(source() + "/i" + std::to_string(i), "");
  inMounts([this] {
    const HangFs server(source(), mounted());
    mountTmpfs();
    defineBoth();
    Process job = start({"-nfstimeout", "1"});
    // The next four hang as well: time to stop the server before it reads on.
    while (messages("STA0063E").empty())
      ::usleep(10'000);
    server.stop();
    EXPECT_EQ(job.wait(), 4);
    EXPECT_EQ(messages("STA0063E").size(), 10U);
    EXPECT_EQ(messages("STA0530E").size(), 1U);
    expectResults({"2"});

    // The next scan gets the lock, and no answer at all.
    defineBoth();
    EXPECT_EQ(run({"-nfstimeout", "1"}), 4);
    EXPECT_EQ(messages("STA0096E").size(), 1U);
    EXPECT_EQ(messages("STA0531E").size(), 0U);
    expectResults({"2"});
  });
}

TEST_F(HangFlow, aJobThatWaitsForAnAnswerCanBeStopped) {
  writeFile(source() + "/hang-stat", "");
  for (const bool hangsOnStatfs : {false, true})
    inMounts(
        [this, hangsOnStatfs] {
          const HangFs server(source(), mounted(), hangsOnStatfs);
          mountTmpfs();
          defineBoth();
          Process job = start({"-nfstimeout", "1000"});
          const std::string pid = std::to_string(job.pid());
          while (readFile("/proc/" + pid + "/task/" + pid + "/children").empty())
            ::usleep(10'000);
          job.signal(SIGTERM);
          EXPECT_EQ(job.wait(), 8);
          EXPECT_FALSE(exists(outputFile()));
          // Its locks are free.
          define(Definition().filesystem(2, area.file("tmp")).profile(1, "1", FIGURES));
          EXPECT_EQ(run(), 0);
        },
        hangsOnStatfs ? "statfs hangs" : "an entry hangs");
}

}  // namespace
}  // namespace orv::test
