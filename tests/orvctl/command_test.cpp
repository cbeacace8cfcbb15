// The real orvctl with the real scan program, each in an agent directory of its own.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <memory>

#include "orvctl/Orvctl.h"
#include "orvctl/text/Units.h"
#include "support/Process.h"

namespace orv::ctl::test {
namespace {

using namespace std::string_literals;

TEST_F(OrvctlTest, scansAnyDirectoryAndReportsItAgain) {
  // A path that needs every escape of the mount table and of the definition.
  const std::string root = directory.file("a b,\"c\"\\d\t#'\xff");
  writeFile(root + "/one.txt", std::string(1000, 'x'));
  writeFile(root + "/sub/line\nbreak,\"quoted\".txt", std::string(500, 'x'));
  writeFile(root + "/sub/twice", std::string(70, 'x'));
  std::filesystem::create_hard_link(root + "/sub/twice", root + "/sub/again");
  std::filesystem::create_symlink("one.txt", root + "/link");
  std::filesystem::create_directory(root + "/empty");

  ASSERT_EQ(run({"scan", root, "--agent", agent}), 0) << text;
  // The second name of the hard link counts, the first does not.
  at("\n  Entries       4 files and links, 3 directories\n");
  at("\n  Hard links    1 name with several links (70 B) counted N-1 times");
  off_t bytes = 1000 + 500 + 70;
  for (const char* name : {"", "/link", "/sub", "/empty"}) {
    struct stat info {};
    ASSERT_EQ(::lstat((root + name).c_str(), &info), 0);
    bytes += info.st_size;
  }
  at("(" + countText(bytes) + " bytes)");
  at("a b,\"c\"\\d\\x09#'\\xFF/sub/line break,\"quoted\".txt\n");
  at("\n  txt            2");
  at("\nResult: " + resultFile(1) + "\n");
  EXPECT_FALSE(holds(text, "Warnings"));
  EXPECT_TRUE(std::filesystem::is_empty(agent + "/input/local"));
  EXPECT_TRUE(holds(readFile(agent + "/log/notify.log"), "-jobName orvctl"));
  const std::string scanned = text.substr(text.find('\n') + 1);

  // The next job has a warning of its own, which is not the first one's.
  std::string deep = directory.file("deep");
  for (int level = 0; level < 201; ++level)
    deep += "/d";
  std::filesystem::create_directories(deep);
  std::filesystem::create_hard_link(root + "/one.txt", directory.file("deep/only"));
  ASSERT_EQ(run({"scan", directory.file("deep"), "--agent", agent}), 0);
  at("\n  Hard links    files whose other names lie elsewhere are not counted\n");
  at("\nWarnings (1)\n  STA0001E ");
  ASSERT_EQ(run({"report", resultFile(1)}), 0);
  EXPECT_EQ(text, scanned);
}

TEST_F(OrvctlTest, scanCountsWhatTheClauseAdmitsAndReportsWatchedDirectories) {
  const std::string root = directory.file("root");
  writeFile(root + "/top", std::string(5000, 'x'));
  writeFile(root + "/a/small", "x");
  writeFile(root + "/a/log/first", std::string(6000, 'x'));
  writeFile(root + "/b/log/second", std::string(7000, 'x'));
  writeFile(root + "/b/log/third", std::string(4000, 'x'));
  const std::vector<std::string> scan = {
      "scan",    "--watch", "a",   "--watch", root + "/*/log",
      root,      "--agent", agent, "--where", "type = f & size >= 4000",
      "--watch", "x*"};
  ASSERT_EQ(run(scan), 0) << text;
  at("  Counted       entries where type = f & size >= 4000\n  Scanned ");
  at("  Entries       4 files and links, 0 directories\n");
  // The largest first; what fitted nothing is named. Each directory counts all that is below it.
  at("2 levels down\n      size  share                files  dirs  path\n"
     "  10.7 KiB  50.0%  ██████            2     0  " +
     root + "/b\n");
  const std::size_t table =
      at("\nWatched directories\n      size  share                files  dirs  path\n"
         "  10.7 KiB  50.0%  ██████            2     0  " +
         root + "/b/log\n");
  at("  no directory was met for " + root + "/x*\n");
  EXPECT_FALSE(holds(text, "Watched directory "));
  const std::string scanned = text.substr(table);
  ASSERT_EQ(run({"report", resultFile(1)}), 0);
  EXPECT_EQ(text.substr(at("\nWatched directories")), scanned);

  std::vector<std::string> inFull = scan;
  inFull.insert(inFull.end(), {"--section", "watched"});
  ASSERT_EQ(run(inFull), 0) << text;
  at("Watched directory " + root +
     "/b/log\n  2 files and links, 0 directories, 10.7 KiB (11,000 bytes)\n\nLargest files\n");
}

TEST_F(OrvctlTest, severalPathsAreOneJob) {
  const std::string inner = directory.file("one/inner");
  writeFile(inner + "/file", std::string(100, 'x'));
  writeFile(directory.file("two/file"), std::string(200, 'x'));
  ASSERT_EQ(run({"scan", inner, directory.file("two"), directory.file("one"), "--agent", agent,
                 "--where", "type = f"}),
            0)
      << text;
  at("orvctl: " + inner + " lies in " + directory.file("one") + " and is scanned with it\n");
  at("\nScan of 2 directories\n");
  at("  300 B      2     0                       in all\n");
  at("\nScan of " + directory.file("one") + " on ");
  at("\nScan of " + directory.file("two") + " on ");
}

// A rule that only root is free of is tried as another user.
TEST_F(OrvctlTest, strictFailsForWhatCannotBeRead) {
  if (::getuid() != 0)
    GTEST_SKIP() << "needs root to become another user";
  const std::string root = directory.file("tree");
  writeFile(root + "/shut/file", "x");
  ::chmod((root + "/shut").c_str(), 0);
  ::chmod(directory.path().c_str(), 0755);
  for (const std::string& made : {agent, directory.file("copy")})
    std::filesystem::create_directory(made);
  ASSERT_EQ(::chown(agent.c_str(), 65534, 65534), 0);
  const std::string orvctl = std::string(ORV_BUILT_AGENT_DIR) + "/bin/orvctl";
  for (const bool strict : {false, true}) {
    std::vector<std::string> command = {"/usr/bin/setpriv",
                                        "--reuid=65534",
                                        "--clear-groups",
                                        orvctl,
                                        "scan",
                                        root,
                                        "--agent",
                                        agent};
    if (strict)
      command.emplace_back("--strict");
    EXPECT_EQ(Process(command, {}, directory.file("out")).wait(), strict ? 4 : 0);
    text = readFile(directory.file("out"));
    at("  Not read      1 entry unreadable (see --section warnings)\n");
  }
}

TEST_F(OrvctlTest, badInputGivesItsCodeAndReasonAndRunsNothing) {
  const std::string file = directory.file("file");
  writeFile(file, "no result\n");
  std::filesystem::create_directory(directory.file("line\nbreak"));
  const std::string clause = "orvctl: cannot use the where clause: ";
  const struct {
    std::vector<std::string> arguments;
    int code;
    std::string line;
    std::string caret = "";  // the lines behind it
  } cases[] = {
      {{}, 2, "orvctl: no command is given; see orvctl --help\n"},
      {{"repotr"}, 2, "orvctl: there is no command repotr (did you mean report?); see orvctl"},
      {{"help", "xyz"}, 2, "orvctl: there is no command xyz; see orvctl --help\n"},
      {{"scan", "/", "--wach", "/x"},
       2,
       "orvctl: scan has no option --wach (did you mean --watch?)"},
      {{"jobs", "x"}, 2, "orvctl: jobs takes no further argument: x; see orvctl help jobs\n"},
      {{"scan"}, 2, "orvctl: PATH or --all is required; see orvctl help scan\n"},
      {{"scan", "/", "--section", "x"}, 2, "orvctl: there is no section x; --section help"},
      {{"scan", "/", "--ages", "1q"}, 2, "orvctl: cannot use the ages: 1q is none (as 90d or 1y)"},
      {{"scan", "/", "--top", "0"}, 2, "orvctl: --top: Value 0 not in range"},
      {{"scan", "/", "--threads", "0"}, 2, "orvctl: --threads: Value 0 not in range"},
      {{"cluster", "scan", "/", "--partition", "x"}, 2, "orvctl: --partition goes with --engine"},
      {{"cluster", "scan", "/a", "/b"},
       2,
       "orvctl: only one PATH can be given; see orvctl help cl"},
      {{"cluster", "resume", file}, 1, "orvctl: cannot use work directory " + file + ": Not a dir"},
      {{"cluster", "cancel", "/usr"}, 1, "orvctl: cannot use work directory /usr: others may use"},
      {{"scan", "/no/such"}, 1, "orvctl: cannot scan /no/such: No such file or directory\n"},
      {{"scan", directory.file("line\nbreak"), "--agent", directory.file("made")},
       1,
       "orvctl: cannot scan " + directory.path() + "/line\\x0Abreak: a path with a line break"},
      {{"scan", "/", "--agent", file}, 1, "orvctl: cannot use agent directory " + file + ": "},
      {{"scan", "/", "--agent", agent, "--watch", "/no"}, 1, "orvctl: cannot watch /no: No such "},
      {{"report", "/"}, 1, "orvctl: cannot read result /: Is a directory\n"},
      {{"report", file}, 1, "orvctl: cannot read result " + file + ": not a result file"},
      {{"scan", "/", "--agent", agent, "--where", "size > 1Q"},
       2,
       clause,
       "  size > 1Q\n          ^\n"},
      {{"check-where", "!type = x"}, 2, clause + "found \"x\"", "  !type = x\n          ^\n"},
  };
  for (const auto& row : cases) {
    EXPECT_EQ(run(row.arguments), row.code) << row.line;
    EXPECT_TRUE(text.starts_with(row.line)) << text;
    EXPECT_EQ(text.substr(text.find('\n') + 1), row.caret) << row.line;
  }
  EXPECT_FALSE(std::filesystem::exists(agent));
  EXPECT_EQ(run({"check-where", "size > 1G"}), 0);
  EXPECT_EQ(text, "size is more than 1G (1073741824 bytes)\n");
}

TEST_F(OrvctlTest, scansOfDifferentDirectoriesRunAtOnce) {
  std::vector<Process> scans;
  for (int i = 1; i <= 4; ++i) {
    const std::string root = directory.file("tree" + std::to_string(i));
    writeFile(root + "/file", "x");
    scans.push_back(start({"scan", root, "--agent", agent}, root + ".out"));
  }
  for (Process& scan : scans)
    EXPECT_EQ(scan.wait(), 0);
  for (int i = 1; i <= 4; ++i)
    EXPECT_TRUE(std::filesystem::exists(resultFile(i))) << i;
}

// While it is held, scans of an agent directory wait before their walks.
class HeldScans final {
 public:
  explicit HeldScans(const std::string& agent) {
    writeFile(agent + "/log/orv_scan_res.lck", "");
    m_lock = ::open((agent + "/log/orv_scan_res.lck").c_str(), O_RDWR | O_CLOEXEC);
    EXPECT_EQ(::lockf(m_lock, F_LOCK, 0), 0);
  }
  ~HeldScans() { ::close(m_lock); }

 private:
  int m_lock;
};

TEST_F(OrvctlTest, interruptStopsTheScanAndLeavesNoResult) {
  std::filesystem::create_directory(directory.file("tree"));
  int number = 0;
  for (std::vector<std::string> command : {std::vector{"scan"s}, {"cluster", "scan"}}) {
    ++number;
    // So that it cannot end before the signal.
    auto held = std::make_unique<HeldScans>(agent);
    command.insert(command.end(), {directory.file("tree"), "--agent", agent});
    Process scan = start(command, directory.file("out"));
    const std::string jobInfo =
        std::filesystem::path(resultFile(number)).replace_extension("jobinfo");
    EXPECT_TRUE(orv::test::eventually([&] { return std::filesystem::exists(jobInfo); }));
    scan.signal(SIGINT);
    // Time for orvctl to hand the signal on before the scan may go on.
    ::usleep(300'000);
    held.reset();
    EXPECT_EQ(scan.wait(), 130);
    text = readFile(directory.file("out"));
    at("orvctl: scan of " + directory.file("tree") + " stopped: Interrupt; there is no result\n");
    EXPECT_FALSE(holds(text, "to go on"));
    EXPECT_FALSE(std::filesystem::exists(resultFile(number)));
    EXPECT_TRUE(std::filesystem::is_empty(agent + "/input/local"));
  }
  EXPECT_TRUE(std::filesystem::is_empty(agent + "/work"));
}

TEST_F(OrvctlTest, aDividedScanIsKeptForItsUserUntilItHasItsResult) {
  namespace fs = std::filesystem;
  writeFile(directory.file("tree/file"), "x");
  const std::string work = directory.file("work");
  const std::string inTheWay = work + "/states/00000001";
  auto held = std::make_unique<HeldScans>(agent);
  Process scan =
      start({"cluster", "scan", directory.file("tree"), "--agent", agent, "--work", work},
            directory.file("out"));
  EXPECT_TRUE(orv::test::eventually([&] { return fs::exists(work + "/settings"); }));
  fs::create_directories(inTheWay);
  held.reset();
  EXPECT_EQ(scan.wait(), 1);
  text = readFile(directory.file("out"));
  at("STA0564E Share 1 of the scan failed 3 times");
  at("  to go on:      orvctl cluster resume " + work + "\n");
  fs::permissions(work, fs::perms(0750));
  EXPECT_EQ(run({"cluster", "resume", work}), 1);
  at("others may use it, too: its mode is 0750");
  fs::permissions(work, fs::perms(0700));
  fs::remove(inTheWay);
  EXPECT_EQ(run({"cluster", "resume", work, "--summary"}), 0);
  at("Result: " + resultFile(2));
  EXPECT_FALSE(fs::exists(work));
}

}  // namespace
}  // namespace orv::ctl::test
