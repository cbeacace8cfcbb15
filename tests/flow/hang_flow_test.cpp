// Jobs over mounts that do not answer.

#include <fstream>
#include <iterator>
#include <sstream>

#include "flow/MountJob.h"
#include "support/HangFs.h"

namespace orv::test {
namespace {

// With as many lanes as the parameter says.
class HangFlow : public MountJob, public ::testing::WithParamInterface<int> {
 protected:
  void SetUp() override {
    MountJob::SetUp();
    if (!IsSkipped() && !HangFs::isPossible())
      GTEST_SKIP() << "SKIPPED: needs /dev/fuse";
    env["ORV_WALK_THREADS"] = std::to_string(GetParam());
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
  // The helper processes of the job.
  static std::vector<pid_t> helpersOf(pid_t job) {
    const std::string pid = std::to_string(job);
    std::istringstream list(readFile("/proc/" + pid + "/task/" + pid + "/children"));
    return {std::istream_iterator<pid_t>(list), {}};
  }
  // Whether a helper of this mount namespace is there that does not sleep in the kernel.
  static bool isHelperLeft() {
    const auto nameSpace = std::filesystem::read_symlink("/proc/self/ns/mnt");
    for (const auto& process : std::filesystem::directory_iterator("/proc")) {
      std::error_code gone;
      std::ifstream stat(process.path() / "stat");
      std::string id, name, state;
      if (stat >> id >> name >> state && name == "(scan-stat)" && state != "D" && state != "Z" &&
          std::filesystem::read_symlink(process.path() / "ns/mnt", gone) == nameSpace)
        return true;
    }
    return false;
  }
};

TEST_P(HangFlow, whatDoesNotAnswerIsReportedAndTheRestIsCounted) {
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

// What happens while a walk waits for an answer that does not come, in a directory with more such
// entries and a directory read before.
TEST_P(HangFlow, whateverHappensMeanwhileEndsInTimeAndIsSaid) {
  const struct {
    const char* what;
    std::function<void(const HangFs&, pid_t)> happens;
    int code;
    const char* said;
    std::vector<std::string> results;  // of these filesystems; empty for those not to compare
  } rows[] = {
      {"the server stops",
       [](const HangFs& server, pid_t) { server.stop(); },
       4,
       "STA0530E",
       {"2"}},
      {"it is unmounted",
       [this](const HangFs&, pid_t) { ::umount2(mounted().c_str(), MNT_DETACH); },
       4,
       "STA0530E",
       {"2"}},
      {"the directory is renamed",
       [this](const HangFs&, pid_t) {
         std::filesystem::rename(source() + "/inner", source() + "/zzz");
       },
       4,
       "STA0122E",
       {}},
      {"the directory is replaced",
       [this](const HangFs&, pid_t) {
         std::filesystem::rename(source() + "/inner", area.file("away"));
         writeFile(source() + "/inner/other", "not to be counted");
       },
       4,
       "STA0122E",
       {}},
      {"helpers are killed",
       [](const HangFs&, pid_t job) {
         for (const pid_t helper : helpersOf(job))
           ::kill(helper, SIGKILL);
       },
       0,
       "hang-stat4: Connection timed out",
       {"1", "2"}},
      {"helpers are stopped",
       [](const HangFs&, pid_t job) {
         for (const pid_t helper : helpersOf(job))
           ::kill(helper, SIGSTOP);
       },
       0,
       "hang-stat4: Connection timed out",
       {}},
  };
  for (const auto& row : rows) {
    std::filesystem::remove_all(source());
    for (int i = 0; i < 5; ++i)
      writeFile(source() + "/inner/hang-stat" + std::to_string(i), "");
    for (int i = 0; i < 20; ++i)
      writeFile(source() + "/inner/i" + std::to_string(i), "");
    writeFile(source() + "/above/file", "12");
    std::filesystem::remove(agent() + "/log/scan.log");
    inMounts(
        [this, &row] {
          const HangFs server(source(), mounted());
          mountTmpfs();
          defineBoth();
          Process job = start({"-nfstimeout", "1"});
          // The next four hang as well: time for it to happen before one of them is over.
          while (messages("STA0063E").empty())
            ::usleep(10'000);
          row.happens(server, job.pid());
          EXPECT_EQ(job.wait(), row.code) << log();
          EXPECT_NE(log().find(row.said), std::string::npos) << log();
          EXPECT_LE(messages("STA0063E").size(), 25U);
          EXPECT_EQ(readFile(outputFile()).find("not to be counted"), std::string::npos);
          if (!row.results.empty())
            expectResults(row.results);
          EXPECT_TRUE(eventually([] { return !isHelperLeft(); }));
        },
        row.what);
  }
}

TEST_P(HangFlow, aServerThatAnswersNothingKeepsNoLock) {
  inMounts([this] {
    const HangFs server(source(), mounted());
    mountTmpfs();
    server.stop();
    for (int round = 0; round < 2; ++round) {
      defineBoth();
      EXPECT_EQ(run({"-nfstimeout", "1"}), 4);
      EXPECT_EQ(messages("STA0531E").size(), 0U);
      expectResults({"2"});
    }
    EXPECT_EQ(messages("STA0096E").size(), 2U);
  });
}

TEST_P(HangFlow, aJobThatWaitsForAnAnswerCanBeStopped) {
  writeFile(source() + "/hang-stat", "");
  for (const bool hangsOnStatfs : {false, true})
    inMounts(
        [this, hangsOnStatfs] {
          const HangFs server(source(), mounted(), hangsOnStatfs);
          mountTmpfs();
          defineBoth();
          Process job = start({"-nfstimeout", "1000"});
          while (helpersOf(job.pid()).empty())
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

INSTANTIATE_TEST_SUITE_P(Lanes, HangFlow, ::testing::Values(1, 2, 8));

// Many lanes, so that it does not take a second for each.
using HangLimitFlow = HangFlow;

TEST_P(HangLimitFlow, helpersLeftBehindAreBounded) {
  // Others answer in between, so that the filesystem is not given up for its silence.
  for (int i = 0; i < 100; ++i)
    for (const char* name : {"/answers", "/hang-stat"})
      writeFile(source() + "/d" + std::to_string(i) + name, "");
  inMounts([this] {
    const HangFs server(source(), mounted());
    mountTmpfs();
    defineBoth();
    EXPECT_EQ(run({"-nfstimeout", "1"}), 4);
    ASSERT_EQ(messages("STA0530E").size(), 1U);
    EXPECT_NE(log().find(" 64 helper processes sleep"), std::string::npos) << log();
    EXPECT_LE(messages("STA0063E").size(), 64U);
    expectResults({"2"});
    EXPECT_TRUE(eventually([] { return !isHelperLeft(); }));
  });
}

INSTANTIATE_TEST_SUITE_P(ManyLanes, HangLimitFlow, ::testing::Values(32));

}  // namespace
}  // namespace orv::test
