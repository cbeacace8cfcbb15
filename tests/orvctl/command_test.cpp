// The real orvctl with the real scan program, each in an agent directory of its own.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <thread>

#include "orvctl/text/Units.h"
#include "support/Process.h"
#include "support/TempDir.h"

namespace orv::ctl {
namespace {

using orv::test::Process;
using orv::test::readFile;
using orv::test::TempDir;
using orv::test::writeFile;

const std::string BUILT = ORV_BUILT_AGENT_DIR;

class OrvctlTest : public ::testing::Test {
 protected:
  Process start(std::vector<std::string> arguments, const std::string& output) {
    arguments.insert(arguments.begin(), BUILT + "/bin/orvctl");
    return Process(arguments, {{"COLUMNS", "200"}, {"LC_ALL", "C.UTF-8"}, {"TZ", "UTC"}}, output);
  }
  // Runs orvctl to its end; what it wrote is in `text`.
  int run(const std::vector<std::string>& arguments) {
    const int code = start(arguments, directory.file("out")).wait();
    text = readFile(directory.file("out"));
    return code;
  }
  [[nodiscard]] bool says(const std::string& expected) const {
    return text.find(expected) != std::string::npos;
  }
  [[nodiscard]] std::string resultFile(int run) const {
    return agent + "/output/local/orvctl.0000000" + std::to_string(run) + "_scan.0001.dat";
  }

  TempDir directory;
  std::string agent = directory.file("agent");
  std::string text;
};

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
  EXPECT_TRUE(says("\n  Files       4 with symbolic links\n")) << text;
  EXPECT_TRUE(says("\n  Directories 3\n")) << text;
  const auto length = [](const std::string& path) {
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0 ? info.st_size : -1;
  };
  const auto bytes = 1000 + 500 + 70 + length(root + "/link") + length(root) +
                     length(root + "/sub") + length(root + "/empty");
  EXPECT_TRUE(says("(" + countText(bytes) + " bytes)")) << bytes << "\n" << text;
  EXPECT_TRUE(says("a b,\"c\"\\d\\x09#'\\xFF/sub/line break,\"quoted\".txt\n")) << text;
  EXPECT_TRUE(says("\n  txt            2"));
  EXPECT_FALSE(says("Warnings"));
  EXPECT_TRUE(says("\nResult: " + resultFile(1) + "\n")) << text;
  EXPECT_TRUE(std::filesystem::is_empty(agent + "/input/local"));
  EXPECT_NE(readFile(agent + "/log/notify.log").find("-jobName orvctl"), std::string::npos);

  const std::string scanned = text.substr(text.find('\n') + 1);
  ASSERT_EQ(run({"report", resultFile(1)}), 0);
  EXPECT_EQ(text, scanned);
}

TEST_F(OrvctlTest, warningsAreThoseOfTheJob) {
  std::string deep = directory.file("deep");
  std::filesystem::create_directory(deep);
  ASSERT_EQ(run({"scan", deep, "--agent", agent}), 0);
  EXPECT_FALSE(says("Warnings"));
  for (int level = 0; level < 201; ++level)
    deep += "/d";
  std::filesystem::create_directories(deep);
  ASSERT_EQ(run({"scan", directory.file("deep"), "--agent", agent}), 0);
  EXPECT_TRUE(says("\nWarnings (1)\n  STA0001E ")) << text;
  ASSERT_EQ(run({"report", resultFile(1)}), 0);
  EXPECT_FALSE(says("Warnings"));
}

TEST_F(OrvctlTest, badInputGivesOneLineAndItsCode) {
  writeFile(directory.file("file"), "no result\n");
  std::filesystem::create_directory(directory.file("line\nbreak"));
  const std::string file = directory.file("file");
  const struct {
    std::vector<std::string> arguments;
    int code;
    std::string line;
  } cases[] = {
      {{}, 2, "orvctl: no command is given; see orvctl --help\n"},
      {{"repotr"}, 2, "orvctl: there is no command repotr (did you mean report?); see orvctl"},
      {{"help", "xyz"}, 2, "orvctl: there is no command xyz; see orvctl --help\n"},
      {{"scan", "/", "--wach", "/x"},
       2,
       "orvctl: scan has no option --wach (did you mean --watch?)"},
      {{"jobs", "x"}, 2, "orvctl: jobs takes no further argument: x; see orvctl help jobs\n"},
      {{"scan"}, 2, "orvctl: PATH is required; see orvctl help scan\n"},
      {{"scan", "/", "--top", "0"}, 2, "orvctl: --top: Value 0 not in range"},
      {{"scan", "/", "--threads", "0"}, 2, "orvctl: --threads: Value 0 not in range"},
      {{"scan", "/no/such"}, 1, "orvctl: cannot scan /no/such: No such file or directory\n"},
      {{"scan", file}, 1, "orvctl: cannot scan " + file + ": Not a directory\n"},
      {{"scan", directory.file("line\nbreak"), "--agent", agent},
       1,
       "orvctl: cannot scan " + directory.path() + "/line\\x0Abreak: a path with a line break"},
      {{"scan", "/", "--agent", file}, 1, "orvctl: cannot use agent directory " + file + ": "},
      {{"report", "/no/such"}, 1, "orvctl: cannot read result /no/such: No such file"},
      {{"report", "/"}, 1, "orvctl: cannot read result /: Is a directory\n"},
      {{"report", file}, 1, "orvctl: cannot read result " + file + ": not a result file"},
  };
  for (const auto& row : cases) {
    EXPECT_EQ(run(row.arguments), row.code) << row.line;
    EXPECT_TRUE(text.starts_with(row.line)) << text;
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
  }
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

TEST_F(OrvctlTest, interruptStopsTheScanAndLeavesNoResult) {
  std::filesystem::create_directory(directory.file("tree"));
  writeFile(agent + "/log/orv_scan_res.lck", "");
  // While this lock is held the scan waits before its walk; so it cannot end before the signal.
  const int lock = ::open((agent + "/log/orv_scan_res.lck").c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(::lockf(lock, F_LOCK, 0), 0);
  Process scan = start({"scan", directory.file("tree"), "--agent", agent}, directory.file("out"));
  const std::string jobInfo = agent + "/output/local/orvctl.00000001_scan.0001.jobinfo";
  while (!std::filesystem::exists(jobInfo))
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  scan.signal(SIGINT);
  // Time for orvctl to hand the signal on before the scan may go on.
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  ::close(lock);
  EXPECT_EQ(scan.wait(), 130);
  text = readFile(directory.file("out"));
  EXPECT_TRUE(says("orvctl: scan of " + directory.file("tree") +
                   " stopped: Interrupt; there is no result\n"))
      << text;
  EXPECT_FALSE(std::filesystem::exists(resultFile(1)));
  EXPECT_TRUE(std::filesystem::is_empty(agent + "/input/local"));
}

}  // namespace
}  // namespace orv::ctl
