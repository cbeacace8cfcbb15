#include "orvctl/report/Report.h"

#include "orvctl/Orvctl.h"
#include "orvctl/sample_result.h"
#include "orvctl/text/DisplayText.h"

namespace orv::ctl::test {
namespace {

std::string reportOf(const std::string& text, const ReportOptions& options) {
  return renderReport(ResultFile::parse(text, "/out/r.dat"), JobLog("/none"), options);
}

TEST(ReportTest, showsEverySectionOfTheResult) {
  const std::string report = reportOf(
      sampleResult(fileLine("/data/big", "\"ann\"", 3LL << 30) + fileLine("/data/x\x1b", "", 10)),
      {});
  for (const char* expected : {
           "Scan of /data\n",
           "  Profile     every \"thing\"\n",
           "  Files       1,234,567 with symbolic links\n",
           "  Directories 89\n",
           "  Total size  5.0 GiB (5,368,709,120 bytes)\n",
           // 2,097,152 units of 512 bytes are 1 GiB.
           "  Filesystem  1.0 GiB in all, 512.0 MiB used, 512.0 MiB free\n",
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

TEST(ReportTest, saysWhenFilesAreTooLargeForTheirRanking) {
  std::string text = sampleResult(fileLine("/x", "", 10));
  EXPECT_FALSE(holds(reportOf(text, {}), "2 GiB"));
  // The largest file of root in the sample.
  text.replace(text.find("\"800\""), 5, "\"2147483648\"");
  EXPECT_TRUE(holds(reportOf(text, {}), "/x\n  There are files of 2 GiB and more: "));
}

TEST(ReportTest, topLimitsTheListsAndSaysSo) {
  std::string files;
  for (int i = 0; i < 30; ++i)
    files += fileLine("/f" + std::to_string(i), "", 100 - i);
  const std::string report = reportOf(sampleResult(files), {.top = 3, .style = {}});
  EXPECT_TRUE(holds(report, "/f2\n  (27 more)\n"));
  EXPECT_FALSE(holds(report, "/f3\n"));
}

TEST(ReportTest, noLineIsWiderThanTheTerminal) {
  std::string wide;
  for (int i = 0; i < 100; ++i)
    wide += "\xe6\x97\xa5";
  const std::string text = sampleResult(fileLine("/" + wide, "\"" + wide + "\"", 1LL << 40) +
                                        fileLine("/" + std::string(500, 'x'), "", 1));
  for (const int width : {80, 200}) {
    std::istringstream lines(
        reportOf(text, {.top = 20, .style = {.width = width, .colour = false, .unicode = true}}));
    for (std::string line; std::getline(lines, line);)
      EXPECT_LE(displayWidth(line), width) << line;
  }
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
      "2026-01-02 10:00:02.000 AGT0143I 100000 entries scanned so far.\n"
      "2026-01-02 10:00:02.250 STA0121E Cannot open";
  writeFile(file, text);
  log.poll();
  EXPECT_EQ(log.entriesScanned(), 100000);
  EXPECT_EQ(log.warningCount(), 0U);

  text +=
      " directory /data/x: Permission denied.\n"
      "2026-01-02 10:00:04.750 AGT0144I The walk is complete: 150000 entries scanned.\n";
  writeFile(file, text);
  log.poll();
  EXPECT_EQ(log.entriesScanned(), 150000);
  EXPECT_DOUBLE_EQ(log.duration(), 4.25);
  ASSERT_EQ(log.warnings().size(), 1U);
  EXPECT_EQ(log.warnings()[0], "STA0121E Cannot open directory /data/x: Permission denied.");
  EXPECT_EQ(renderWarnings(log, {}),
            "Warnings (1)\n  STA0121E Cannot open directory /data/x: Permission denied.\n\n");
}

}  // namespace
}  // namespace orv::ctl::test
