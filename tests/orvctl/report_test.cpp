#include "orvctl/report/Report.h"

#include "orvctl/Orvctl.h"
#include "orvctl/job/JobLog.h"
#include "orvctl/model/ModelBuilder.h"
#include "orvctl/report/DirectoryTables.h"
#include "orvctl/sample_result.h"

namespace orv::ctl::test {
namespace {

std::string reportOf(const std::string& text, const ReportOptions& options) {
  Scan scan = buildModel(ResultFile::parse(text, "/out/r.dat"));
  return renderReport(scan, options);
}

// A whole report for a pipe of that width.
ReportOptions plain(int width = 80, int top = 20) {
  return {top, {}, {.width = width, .colour = false, .terminal = false, .unicode = true}};
}

TEST(ReportTest, showsEverySectionOfTheResult) {
  const std::string report = reportOf(
      sampleResult(fileLine("/data/big", "\"ann\"", 3LL << 30) + fileLine("/data/x\x1b", "", 10)),
      plain());
  for (const char* expected : {
           "Scan of /data\n",
           "  Counted       every \"thing\"\n",
           "  Entries       1,234,567 files and links, 89 directories\n",
           "  Total length  5.0 GiB (5,368,709,120 bytes)\n",
           // 2,097,152 units of 512 bytes are 1 GiB.
           "  Filesystem    1.0 GiB in all, 512.0 MiB used or reserved, 512.0 MiB free\n",
           "  above 1000 KiB        3  75.0%  4.0 KiB  100.0%  ",
           "  average age 2.0 days\n",
           "/data/x\\x1B\n",
           "Largest orphaned files: none\n",
           "Result: /out/r.dat\n",
       })
    EXPECT_TRUE(holds(report, expected)) << expected << "\nin\n" << report;
  // Not asked for, nothing in it, or not safe to print: left out.
  for (const char* unexpected : {"Oldest orphaned files", "backup", "Groups", "\x1b"})
    EXPECT_FALSE(holds(report, unexpected)) << unexpected;
  // Owners are named and ordered by what they hold; file types by their extension.
  EXPECT_LT(report.find("root  "), report.find("ann ", report.find("Owners")));
  EXPECT_TRUE(holds(report, "  root       5     2  900 B  90.0%"));
  EXPECT_TRUE(holds(report, "  txt            3  3.0 KiB  1.0 KiB"));
}

TEST(ReportTest, topLimitsTheListsAndSaysSo) {
  std::string files;
  for (int i = 0; i < 30; ++i)
    files += fileLine("/f" + std::to_string(i), "", 100 - i);
  const std::string report = reportOf(sampleResult(files), plain(80, 3));
  EXPECT_TRUE(holds(report, "/f2\n  (27 more)\n"));
  EXPECT_FALSE(holds(report, "/f3\n"));
}

// The model of a scan with everything that the first screen can show.
Scan fullScan(int directories) {
  Root root;
  root.path = "/data";
  root.capacity = Capacity{1LL << 40, 1LL << 39, 1LL << 39};
  root.dfUsed = 1LL << 38;
  root.profiles = {{1, "entries where size > 1", {}}};
  root.profiles.front().statistics.totals = Totals{1, 1, 1, 1000};
  root.namesWithLinks = Totals{7, 0, 0, 70};
  root.ages = {{7776000, AgeKind::MODIFIED, {3, 30}}, {31557600, AgeKind::MODIFIED, {2, 20}}};
  root.notRead = NotRead{
      1, {{"/data/a b", "tmpfs"}, {"/m2", "xfs"}, {"/m3", "xfs"}}, {{"/m4", "snapshot"}}, 2, 3};
  root.depth = 1;
  for (int i = 0; i < directories; ++i) {
    Subtree subtree;
    subtree.entry.path = "/data/" + std::string(static_cast<std::size_t>(i % 2 * 90), 'x');
    subtree.totals = Totals{1, 1, 0, 500 - i};
    root.subtrees.push_back(subtree);
  }
  Scan scan;
  scan.host = "box";
  scan.roots = {root};
  scan.run = Run{1.5, 0, {}, 0, ""};
  return scan;
}

TEST(ReportTest, firstScreenFitsATerminal) {
  const ReportOptions options{100, {Section::SUMMARY}, {.width = 80, .terminal = true}};
  const Style colours{.width = 80, .colour = true, .terminal = true};
  for (const int directories : {0, 1, 5, 50}) {
    const std::string screen = renderReport(fullScan(directories), options);
    EXPECT_LT(linesOf(screen, options.style), 24) << screen;
    EXPECT_EQ(
        withoutEmphasis(renderReport(fullScan(directories), {100, options.sections, colours})),
        screen);
  }
  const std::string screen = renderReport(fullScan(50), options);
  for (const char* expected :
       {"Scan of /data on box\n", "  Counted       entries where size > 1\n",
        "  Entries       1 file or link, 1 directory, 1 other\n",
        "  Hard links    7 names with several links (70 B) counted N-1 times\n",
        "                df shows 256.0 GiB used\n",
        "  Not changed   30 B for 90 days, 20 B for 1 year\n",
        "  Not read      1 entry unreadable, 2 directories beyond 200 levels, 3 paths too long",
        "  Not entered   '/data/a b' (tmpfs), /m2 (xfs), /m3 (xfs) and 1 more (see",
        "  500 B  50.0%  ######  "})
    EXPECT_TRUE(holds(screen, expected)) << expected << "\nin\n" << screen;
}

TEST(JobLogTest, followsAGrowingLog) {
  const TempDir directory;
  const std::string file = directory.file("job.log");
  JobLog log(file);
  log.poll();
  EXPECT_EQ(log.warningCount(), 0U);
  EXPECT_LT(log.duration(), 0);

  std::string text =
      "2026-01-02 10:00:00.500 AGT0146I Scan job orvctl has started.\n"
      "2026-01-02 10:00:01.000 STA0532I Filesystems of this job:\n"
      "                         /data STA0103W is only the name of a filesystem\n"
      "2026-01-02 10:00:01.000 STA0025I Scanning filesystem /data.\n"
      "2026-01-02 10:00:02.000 AGT0143I 100000 entries scanned so far.\n"
      "2026-01-02 10:00:02.250 STA0121E Cannot open";
  writeFile(file, text);
  log.poll();
  EXPECT_EQ(log.entriesScanned(), 100000);
  EXPECT_EQ(log.warningCount(), 0U);

  text +=
      " directory /data/x: Permission denied.\n"
      "2026-01-02 10:00:03.000 STA0025I Scanning filesystem /home.\n"
      "2026-01-02 10:00:03.000 STA0139W The path /home/long is too long.\n"
      "2026-01-02 10:00:03.500 STA0533I Not entered, for it lies on another device: /home/a: b\n"
      "2026-01-02 10:00:04.750 AGT0144I The walk is complete: 150000 entries scanned.\n";
  writeFile(file, text);
  log.poll();
  EXPECT_EQ(log.entriesScanned(), 150000);
  EXPECT_DOUBLE_EQ(log.duration(), 4.25);
  ASSERT_EQ(log.leftOut().size(), 2U);
  EXPECT_EQ(log.leftOut()[0].unreadable, 1);
  EXPECT_EQ(log.leftOut()[1].tooLong, 1);
  EXPECT_EQ(log.leftOut()[1].otherDevices, std::vector<std::string>{"/home/a: b"});
  ASSERT_EQ(log.warnings().size(), 2U);
  EXPECT_EQ(log.warnings()[0], "STA0121E Cannot open directory /data/x: Permission denied.");
}

}  // namespace
}  // namespace orv::ctl::test
