#include <gtest/gtest.h>

#include <algorithm>

#include "Common/LogManager.h"
#include "Common/LogUtil.h"
#include "support/Process.h"
#include "support/TempDir.h"

namespace orv {
namespace {

namespace fs = std::filesystem;
using test::Process;
using test::readFile;
using test::TempDir;

std::vector<std::string> namesIn(const std::string& dir) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(dir))
    names.push_back(entry.path().filename());
  std::ranges::sort(names);
  return names;
}

std::vector<std::string> namesOf(const NumberedFiles& files) {
  std::vector<std::string> names;
  for (const auto& [number, path] : files)
    names.push_back(std::to_string(number) + ":" + fs::path(path).filename().string());
  return names;
}

using Names = std::vector<std::string>;

CmdArgs arguments() {
  static const char* const argv[] = {"scan"};
  CmdArgs args(1, argv, SCAN_COMMAND_NUMBER);
  args.serverName = "s1";
  args.jobName = "J";
  args.jobRunNumber = 3;
  args.sidRunNumber = 1;
  return args;
}

TEST(LogManager, oneStampedLinePerMessage) {
  const TempDir dir;
  const std::string path = dir.file("new/log/scan.log");
  LogManager log(path);
  EXPECT_EQ(log.LogActivityLog("STA0001I one"), 0);
  EXPECT_EQ(log.LogActivityLog("STA0001I two\n"), 0);
  std::string shape = readFile(path);
  std::ranges::replace_if(
      shape, [](char c) { return c >= '0' && c <= '9'; }, '0');
  const std::string stamp = "0000-00-00 00:00:00.000 ";
  EXPECT_EQ(shape, stamp + "STA0000I one\n" + stamp + "STA0000I two\n");
  log.changeLog(dir.file("b"));
  EXPECT_EQ(log.LogActivityLog("moved"), 0);
  EXPECT_TRUE(readFile(dir.file("b")).ends_with(" moved\n"));
  log.CloseLogFile();
  EXPECT_EQ(log.LogActivityLog("lost"), 621);
}

TEST(LogManager, failuresKeepTheSystemsReason) {
  const TempDir dir;
  LogManager full("/dev/full");
  EXPECT_EQ(full.LogActivityLog("x"), 621);
  EXPECT_EQ(full.systemError(), ENOSPC);
  LogManager directory(dir.path());
  EXPECT_EQ(directory.LogActivityLog("x"), 621);
  EXPECT_EQ(directory.systemError(), EISDIR);
}

TEST(LogManager, linesOfManyProcessesStayWhole) {
  constexpr int WRITERS = 8, LINES = 100;
  const TempDir dir;
  const std::string path = dir.file("log");
  std::vector<Process> writers;
  for (int i = 0; i < WRITERS; ++i)
    writers.emplace_back([&path, i] {
      LogManager log(path);
      int failures = 0;
      for (int line = 0; line < LINES; ++line)  // longer than any buffer in between
        failures += log.LogActivityLog(std::string(20'000, static_cast<char>('a' + i))) != 0;
      return failures;
    });
  for (Process& writer : writers)
    EXPECT_EQ(writer.wait(), 0);
  std::ifstream in(path);
  int lines = 0;
  for (std::string line; std::getline(in, line); ++lines) {
    if (line.empty()) {  // a line of others in the making was taken for a cut one
      --lines;
      continue;
    }
    const std::string text = line.substr(line.rfind(' ') + 1);
    ASSERT_EQ(text, std::string(20'000, text.at(0)));
  }
  EXPECT_EQ(lines, WRITERS * LINES);
}

TEST(LogUtil, namesMatchLiterally) {
  const TempDir dir;
  const std::string job = "J.*[x](y)?{1}";
  for (const std::string& name :
       {std::string("scan_000010.log"), std::string("scan_000002.log"),
        std::string("scan_1000000.log"), std::string("scan_2.log"),
        std::string("scan_000004.log.old"), std::string("xscan_000005.log"),
        std::string("scan_00000a.log"), std::string("scan_000006xlog"),
        job + ".00000002_scan.0002.dat", job + ".00000002_scan.0001.dat",
        job + ".00000010_scan.0001.dat", job + ".00000003_scan.0001.dat.part",
        job + ".00000004_probe.0001.dat", job + ".5_scan.0001.dat",
        job + "z.00000006_scan.0001.dat", std::string("Jxx.00000007_scan.0001.dat")})
    test::writeFile(dir.file(name), "");
  fs::create_directory(dir.file("scan_000007.log"));
  fs::create_symlink("scan_000002.log", dir.file("scan_000008.log"));
  EXPECT_EQ(namesOf(getMatchingFilesMap(dir.path(), "scan", ".log")),
            (Names{"2:scan_000002.log", "10:scan_000010.log", "1000000:scan_1000000.log"}));
  EXPECT_EQ(namesOf(getMatchingFilesMap(dir.path(), job, ALL_RUNS, "scan", ".dat")),
            (Names{"2:" + job + ".00000002_scan.0001.dat", "2:" + job + ".00000002_scan.0002.dat",
                   "10:" + job + ".00000010_scan.0001.dat"}));
  EXPECT_EQ(namesOf(getMatchingFilesMap(dir.path(), job, 10, "scan", ".dat")),
            (Names{"10:" + job + ".00000010_scan.0001.dat"}));
  EXPECT_TRUE(getMatchingFilesMap(dir.file("missing"), "scan", ".log").empty());
}

TEST(LogUtil, newInstanceWhenTheLastOneIsFull) {
  struct Row {
    int maxSize;
    std::size_t size;
    const char* name;
  };
  const Row rows[] = {
      {1, 0, "scan_000007.log"},    {1, 1, "scan_000008.log"},    {2, 1024, "scan_000007.log"},
      {2, 1025, "scan_000008.log"}, {2, 9999, "scan_000008.log"},
  };
  const TempDir dir;
  LogLimits limits{.maxSize = 1};
  EXPECT_EQ(getNextLogName(dir.path(), "scan", ".log", limits), "scan_000001.log");
  EXPECT_TRUE(limits.newInstance);
  test::writeFile(dir.file("scan_000002.log"), std::string(5000, 'x'));
  for (const Row& row : rows) {
    test::writeFile(dir.file("scan_000007.log"), std::string(row.size, 'x'));
    limits.maxSize = row.maxSize;
    const std::string name = getNextLogName(dir.path(), "scan", ".log", limits);
    EXPECT_EQ(name, row.name) << row.maxSize << " kB, " << row.size << " bytes";
    EXPECT_EQ(limits.newInstance, name == "scan_000008.log");
  }
}

TEST(LogUtil, purgesBeyondTheLimits) {
  struct Row {
    LogLimits limits;
    bool byRunNumber;
    Names left;
  };
  // Of four files the second is ten days old.
  const Row rows[] = {
      {{.maxNumLogs = 3}, false, {"2", "3", "4"}},
      {{.maxNumLogs = 3, .newInstance = true}, false, {"3", "4"}},
      {{.maxNumLogs = 9, .maxNumDays = 1, .newInstance = true}, false, {"1", "2", "3", "4"}},
      {{.newInstance = true}, false, {"1", "2", "3", "4"}},
      {{.maxNumLogs = 1, .newInstance = true}, false, {}},
      {{.maxNumDays = 9}, true, {"1", "3", "4"}},
      {{.maxNumDays = 11}, true, {"1", "2", "3", "4"}},
      {{.maxNumRuns = 3, .maxNumDays = 9}, true, {"1", "3", "4"}},
      {{.maxNumRuns = 3, .maxNumDays = 9, .newInstance = true}, true, {"3", "4"}},
      {{.maxNumRuns = -1, .maxNumLogs = 1, .maxNumDays = -1}, true, {"1", "2", "3", "4"}},
  };
  for (const Row& row : rows) {
    const TempDir dir;
    NumberedFiles files;
    for (int i = 1; i <= 4; ++i) {
      test::writeFile(dir.file(std::to_string(i)), "");
      files.emplace(i, dir.file(std::to_string(i)));
    }
    fs::last_write_time(dir.file("2"), fs::file_time_type::clock::now() - std::chrono::days(10));
    purgeLogFiles(files, row.limits, row.byRunNumber);
    EXPECT_EQ(namesIn(dir.path()), row.left) << "row " << &row - rows;
  }
}

TEST(JobFilePurge, keepsTheNewestRunsAndItsOwnFiles) {
  const TempDir dir;
  CmdArgs args = arguments();
  args.maxNumRuns = 2;
  for (const char* name :
       {"output/s1/J.00000001_scan.0001.dat", "output/s1/J.00000002_scan.0001.dat",
        "output/s1/J.00000003_scan.0001.dat", "output/s1/J.00000001_scan.0001.jobinfo",
        "output/s1/other.00000001_scan.0001.dat", "output/s2/J.00000001_scan.0001.dat",
        "log/s1/J.00000001_scan.0001.trace", "log/s1/J.00000002_scan.0001.trace"})
    test::writeFile(dir.file(name), "");
  fs::last_write_time(dir.file("output/s1/J.00000003_scan.0001.dat"),
                      fs::file_time_type::clock::now() - std::chrono::days(10));
  args.maxNumDays = 5;
  purgeJobFiles(args, dir.path());
  EXPECT_EQ(namesIn(dir.file("output/s1")),
            (Names{"J.00000001_scan.0001.jobinfo", "J.00000002_scan.0001.dat",
                   "J.00000003_scan.0001.dat", "other.00000001_scan.0001.dat"}));
  EXPECT_EQ(namesIn(dir.file("log/s1")), Names{"J.00000002_scan.0001.trace"});
  EXPECT_EQ(namesIn(dir.file("output/s2")).size(), 1U);
}

TEST(ActivityLog, numberedInstancesBehindALink) {
  const TempDir dir;
  const std::string path = dir.file("log/scan.log");
  CmdArgs args = arguments();
  EXPECT_EQ(openActivityLog(args, path), path);
  EXPECT_FALSE(fs::exists(dir.file("log"))) << "nothing is made without numbered logs";

  // The plain log becomes instance 1, goes on while it has room, and is left when it is full.
  test::writeFile(path, "plain\n");
  args.maxNumLogs = 2;
  args.maxLogSize = 1024;
  EXPECT_EQ(openActivityLog(args, path), dir.file("log/scan_000002.log"));
  EXPECT_EQ(readFile(dir.file("log/scan_000001.log")), "plain\n");
  EXPECT_EQ(fs::read_symlink(path), "scan_000002.log");
  EXPECT_EQ(openActivityLog(args, path), dir.file("log/scan_000002.log")) << "not yet made";
  EXPECT_EQ(LogManager(path).LogActivityLog("through the link"), 0);
  EXPECT_EQ(openActivityLog(args, path), dir.file("log/scan_000003.log"));
  EXPECT_EQ(namesIn(dir.file("log")), (Names{"scan.log", "scan.log.lck", "scan_000002.log"}));
  EXPECT_EQ(fs::read_symlink(path), "scan_000003.log");
  args.maxLogSize = 0;  // none given: room for 10000 kB
  EXPECT_EQ(openActivityLog(args, path), dir.file("log/scan_000002.log"));
}

TEST(ActivityLog, jobsStartingAtOnceLoseNothing) {
  constexpr int ROUNDS = 5, JOBS = 12;
  for (int round = 0; round < ROUNDS; ++round) {
    const TempDir dir;
    const std::string path = dir.file("log/scan.log");
    test::writeFile(path, "2024-01-01 00:00:00.000 plain\n");
    const test::Gate start;
    std::vector<Process> jobs;
    for (int i = 0; i < JOBS; ++i)
      jobs.emplace_back([&path, &start] {
        CmdArgs args = arguments();
        args.maxNumLogs = 100;
        args.maxLogSize = 2048;
        start.waitUntilOpen();
        return LogManager(openActivityLog(args, path)).LogActivityLog(std::string(700, 'x')) != 0;
      });
    start.open(JOBS);
    for (Process& job : jobs)
      EXPECT_EQ(job.wait(), 0);
    std::string all;
    for (const auto& [number, file] : getMatchingFilesMap(dir.file("log"), "scan", ".log"))
      all += readFile(file);
    ASSERT_EQ(std::count(all.begin(), all.end(), '\n'), JOBS + 1) << "round " << round;
    ASSERT_NE(all.find("plain\n"), std::string::npos) << "round " << round;
    ASSERT_TRUE(fs::is_symlink(path));
    ASSERT_TRUE(fs::exists(path)) << "dangling";
  }
}

}  // namespace
}  // namespace orv
