#include <gtest/gtest.h>

#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "orvctl/export/MetricsFile.h"
#include "orvctl/export/Page.h"
#include "orvctl/export/Words.h"
#include "orvctl/model/HelpingProfiles.h"
#include "orvctl/text/Utf8.h"

namespace orv::ctl::test {
namespace {

TEST(Utf8, showsOtherBytesAndNothingThatDisturbs) {
  struct Row {
    std::string bytes;
    std::string text;
  };
  const std::vector<Row> rows = {
      {"grüße 🎉 a\\b", "grüße 🎉 a\\b"},
      {"\xFF", "\\xFF"},
      {"a\xC3", "a\\xC3"},         // cut short
      {"\xC0\xAF", "\\xC0\\xAF"},  // longer than needed
      {"\xE0\x9F\xBF", "\\xE0\\x9F\\xBF"},
      {"\xF0\x8F\xBF\xBF", "\\xF0\\x8F\\xBF\\xBF"},
      {"\xED\xA0\x80", "\\xED\\xA0\\x80"},  // a surrogate
      {"\xED\x9F\xBF\xEE\x80\x80", "\xED\x9F\xBF\xEE\x80\x80"},
      {"\xF4\x90\x80\x80", "\\xF4\\x90\\x80\\x80"},
      {"\xF4\x8F\xBF\xBF", "\xF4\x8F\xBF\xBF"},
      {"\xF8\x88\x80\x80\x80", "\\xF8\\x88\\x80\\x80\\x80"},
      {std::string("\0\n\x1B\x7F", 4), "\\x00\\x0A\\x1B\\x7F"},
      {"\xC2\x9B\xC2\xA0", "\\xC2\\x9B\xC2\xA0"},  // a control character beyond ASCII
      {"\u202E\u200F\u2069\u061C", "\\xE2\\x80\\xAE\\xE2\\x80\\x8F\\xE2\\x81\\xA9\\xD8\\x9C"},
      {"\\x41 \\xg1 \\x4", "\\x5Cx41 \\xg1 \\x4"},
      {"\\x4\xFF\\\xFF\\x5C", "\\x4\\xFF\\\\xFF\\x5Cx5C"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.text, utf8Text(row.bytes));
    EXPECT_EQ(row.bytes, bytesOf(row.text)) << row.text;
  }
}

TEST(Utf8, canBeTakenBackWhateverTheBytes) {
  const std::string bytes = "\\x45AFg\n\xC3\xA9\xE2\x80\xAE\xFF";
  const std::size_t count = bytes.size();
  for (std::size_t number = 0; number < count * count * count * count; ++number) {
    std::string name = "\\";
    for (std::size_t rest = number, i = 0; i < 4; ++i, rest /= count)
      name += bytes[rest % count];
    const std::string text = utf8Text(name);
    ASSERT_EQ(name, bytesOf(text)) << text;
  }
}

TEST(Words, timesEndWhereTheCalendarDoes) {
  struct Row {
    std::int64_t milliseconds;
    std::optional<std::string> time;
  };
  const std::vector<Row> rows = {{0, "1970-01-01T00:00:00.000Z"},
                                 {-1, "1969-12-31T23:59:59.999Z"},
                                 {951782400123, "2000-02-29T00:00:00.123Z"},
                                 {253402300799999, "9999-12-31T23:59:59.999Z"},
                                 {253402300800000, std::nullopt},
                                 {-62167219200000, "0000-01-01T00:00:00.000Z"},
                                 {-62167219200001, std::nullopt},
                                 {std::numeric_limits<std::int64_t>::min(), std::nullopt},
                                 {std::numeric_limits<std::int64_t>::max(), std::nullopt}};
  for (const Row& row : rows)
    EXPECT_EQ(row.time, utcTime(row.milliseconds)) << row.milliseconds;
}

TEST(HelpingProfiles, areKnownByTheirWholeNames) {
  struct Row {
    const char* name;
    std::int64_t number;  // -1 for a profile of somebody else
  };
  const std::vector<Row> rows = {
      {"orvctl:subtrees", 0},       {"orvctl:size-over 10485760", 10485760},
      {"orvctl:subtrees 1", -1},    {"orvctl:size-over ", -1},
      {"orvctl:size-over 10M", -1}, {"orvctl:size-over -1", -1},
      {"everything", -1},           {"orvctl:accessed-over 60", 60}};
  for (const Row& row : rows) {
    const auto helping = helpingProfile(row.name);
    EXPECT_EQ(row.number, helping ? helping->number : -1) << row.name;
  }
}

// A root with sums alone.
Root rootOf(const std::string& path) {
  Root root;
  root.path = path;
  root.scanned = 1700000000250;
  root.profiles.push_back({1, "everything", {}});
  root.profiles.front().statistics.totals = Totals{3, 2, std::nullopt, 700};
  return root;
}

Subtree subtreeOf(const std::string& path, std::int64_t bytes) {
  Subtree subtree;
  subtree.entry.path = path;
  subtree.totals = Totals{1, 1, std::nullopt, bytes};
  return subtree;
}

TEST(MetricsFile, scansThatShareOneKeepToTheirRoots) {
  const auto scanOf = [](std::vector<Root> roots) {
    Scan scan;
    scan.version = "1.2";
    scan.roots = std::move(roots);
    return scan;
  };
  Root grown = rootOf("/a\"} 1");
  grown.profiles.front().statistics.totals->bytes = 900;
  const std::string both = renderMetrics(scanOf({grown, rootOf("/b")}), {20});
  std::string text = withScan("no metric\nother{root=\"/b\"} 1\n", scanOf({rootOf("/b")}), {20});
  text = withScan(text, scanOf({rootOf("/a\"} 1")}), {20});
  text = withScan(text, scanOf({grown}), {20});
  EXPECT_EQ(both, text);
  text = withFailedRun(text, {{"/b"}, 1800000000000, 1, 8});
  EXPECT_EQ(both, withScan(withScan(text, scanOf({rootOf("/b")}), {20}), scanOf({grown}), {20}));
  EXPECT_NE(std::string::npos, text.find("orvscan_last_run_timestamp_seconds{root=\"/a\\\"} 1\"}"));
}

TEST(Metrics, failedRunKeepsFiguresAndTheLastSuccess) {
  Scan scan;
  scan.version = "1.2";
  scan.roots = {rootOf("/a \"b\\"), rootOf("/a \"b\\")};  // a root twice is one time series
  scan.run = ctl::Run{2.5, 4, {}, 0, {}};
  const std::string before = renderMetrics(scan, {20});
  EXPECT_NE(std::string::npos,
            before.find("orvscan_last_run_return_code{root=\"/a \\\"b\\\\\"} 4\n"));
  EXPECT_EQ(before.find("orvscan_size_bytes{"), before.rfind("orvscan_size_bytes{"));

  const std::string after = withFailedRun(before, {{"/a \"b\\"}, 1800000000000, 1, 8});
  for (const char* line :
       {"orvscan_size_bytes{root=\"/a \\\"b\\\\\"} 700\n",
        "orvscan_last_success_timestamp_seconds{root=\"/a \\\"b\\\\\"} 1700000000.250\n",
        "orvscan_last_run_timestamp_seconds{root=\"/a \\\"b\\\\\"} 1800000000.000\n",
        "orvscan_last_run_return_code{root=\"/a \\\"b\\\\\"} 8\n",
        "# TYPE orvscan_last_run_return_code gauge\n"}) {
    EXPECT_NE(std::string::npos, after.find(line)) << after;
    EXPECT_EQ(after.find(line), after.rfind(line)) << line;
  }
  EXPECT_EQ(after, withFailedRun(after, {{"/a \"b\\"}, 1800000000000, 1, 8}));
}

TEST(Page, treeNamesEachDirectoryBelowTheNearestOneAbove) {
  Root root = rootOf("/");
  root.subtrees = {subtreeOf("/a", 50), subtreeOf("/a/b/c", 50), subtreeOf("/ab", 20),
                   subtreeOf("/a/b/c/d", 9), subtreeOf("/z", 5)};
  root.subtrees[0].depth = 1;
  root.subtrees[1].depth = 3;
  EXPECT_EQ(R"([[-1,"a",50,1,1],[0,"b/c",50,1,1],[-1,"ab",20,1,1],[1,"d",9,1,1],[-1,"z",5,1,1]])",
            pageTree(root, 1000).rows.dump());
  // What does not fit are the smallest ones.
  const PageTree cut = pageTree(root, 60);
  EXPECT_EQ(R"([[-1,"a",50,1,1],[0,"b/c",50,1,1],[-1,"ab",20,1,1]])", cut.rows.dump());
  EXPECT_EQ(2U, cut.left);
}

TEST(Page, namesEndNoScriptAndGrowthIsTold) {
  Scan scan;
  scan.roots = {rootOf("/</script><!--")};
  GrowthSeries growth;
  growth.path = scan.roots[0].path;
  growth.total.points = {{1000, 5}, {2000, 6}};
  // More scans than the page has room for: the first and the last stay.
  for (int i = 0; i < 5000; ++i)
    growth.used.points.push_back({i, i});
  growth.trend = {Trend::Kind::GROWING, 2048, 1024, 4096, Trend::Full{10.4, 7, 21}};
  const std::string page = renderPage(scan, {20}, std::span(&growth, 1));
  EXPECT_EQ(std::string::npos, page.find("/</script>"));
  EXPECT_NE(std::string::npos, page.find("\"points\":[[1000,5],[2000,6]]"));
  EXPECT_NE(std::string::npos, page.find("\"scans\":5000,\"points\":[[0,0],"));
  EXPECT_NE(std::string::npos, page.find(",[4999,4999]]"));
  EXPECT_LT(page.size(), 400'000U);
  EXPECT_NE(std::string::npos,
            page.find("Grows by 2.0 KiB a day (between 1.0 KiB a day and 4.0 KiB a day). "
                      "Full in 10 days (between 7 and 21)."));
}

}  // namespace
}  // namespace orv::ctl::test
