#include "orvctl/history/History.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "orvctl/history/Growth.h"
#include "orvctl/text/CtlError.h"
#include "support/TempDir.h"

namespace orv::ctl {
namespace {

constexpr std::int64_t DAY = 86'400'000;

TEST(TrendTest, saysOnlyWhatTheLineSays) {
  struct Case {
    const char* name;
    std::vector<std::int64_t> bytes;  // a day apart
    Trend::Kind kind;
    double perDay, lowest, days;
  };
  // The spreads are 4.303 (2 degrees of freedom) times the standard error of the slope.
  const std::vector<Case> cases = {
      {"straight", {10, 20, 30, 40}, Trend::Kind::GROWING, 10, 10, 6},
      {"scattered", {10, 22, 28, 40}, Trend::Kind::GROWING, 9.6, 9.6 - 4.3027 * 0.848528, 6.25},
      {"falling", {40, 30, 20, 10}, Trend::Kind::FALLING, -10, -10, -1},
      {"three points", {10, 20, 30}, Trend::Kind::NONE, 0, 0, -1},
      {"level", {10, 10, 10, 10, 10}, Trend::Kind::NONE, 0, 0, -1},
      {"to and fro", {10, 90, 10, 90, 10, 95}, Trend::Kind::NONE, 0, 0, -1},
      // The spread alone would not exclude that it falls.
      {"a jump at the end", {10, 10, 10, 40}, Trend::Kind::NONE, 0, 0, -1},
      {"past its capacity", {70, 90, 110, 130}, Trend::Kind::GROWING, 20, 20, 0},
  };
  for (const Case& each : cases) {
    std::vector<GrowthPoint> points;
    for (std::size_t i = 0; i < each.bytes.size(); ++i)
      points.push_back({static_cast<std::int64_t>(i) * DAY, each.bytes[i]});
    const Trend trend = trendOf(points, 100);
    EXPECT_EQ(trend.kind, each.kind) << each.name;
    EXPECT_NEAR(trend.bytesPerDay, each.perDay, 1e-9) << each.name;
    EXPECT_NEAR(trend.lowest, each.lowest, 1e-4) << each.name;
    EXPECT_NEAR(trend.full ? trend.full->days : -1, each.days, 1e-9) << each.name;
    EXPECT_TRUE(!trend.full || trend.full->earliest <= trend.full->latest) << each.name;
    EXPECT_FALSE(trendOf(points, 0).full) << each.name;
  }
}

TEST(KeepTest, rulesAddUp) {
  ::setenv("TZ", "UTC", 1);
  // Twice a day for 40 days; the newest is the noon of 2023-11-14, a Tuesday.
  constexpr std::int64_t NEWEST = 1'699'963'200'000;
  std::vector<std::int64_t> times;
  for (int i = 0; i < 80; ++i)
    times.push_back(NEWEST - i * DAY / 2);
  struct Case {
    std::vector<std::string> rules;
    std::vector<std::size_t> kept;  // how many half days before the newest
  };
  const std::vector<Case> cases = {
      {{}, {0}},
      {{"3"}, {0, 1, 2}},
      {{"1d"}, {0, 1, 2}},
      {{"36h", "2"}, {0, 1, 2, 3}},
      {{"daily:3"}, {0, 2, 4}},
      // The second one is the noon of Sunday.
      {{"weekly:2"}, {0, 4}},
      {{"monthly:2", "2"}, {0, 1, 28}},
  };
  for (const Case& each : cases) {
    std::vector<KeepRule> rules;
    for (const std::string& rule : each.rules)
      rules.push_back(keepRuleOf(rule));
    const std::vector<bool> result = kept(times, rules, NEWEST);
    std::vector<std::size_t> places;
    for (std::size_t i = 0; i < result.size(); ++i)
      if (result[i])
        places.push_back(i);
    EXPECT_EQ(places, each.kept) << (each.rules.empty() ? "" : each.rules.front());
  }
  for (const char* typed : {"", "0", "-1", "7x", "d", "1.5d", "daily:", "hourly:3", "99999999999y"})
    EXPECT_THROW((void)keepRuleOf(typed), CtlError) << typed;
  EXPECT_THROW((void)periodOf("7"), CtlError);
}

// A scan of one path with everything that growth looks at.
struct Made {
  int day = 0;
  std::string path = "/data";
  int depth = 1;
  std::vector<std::pair<std::string, std::int64_t>> directories = {};
  std::vector<std::pair<std::string, std::int64_t>> files = {};
  std::vector<FileType> types = {};
};

Scan scanOf(const Made& made, const std::string& host = "h") {
  Scan scan;
  scan.host = host;
  Root root;
  root.path = made.path;
  root.scanned = 1'700'000'000'000 + made.day * DAY;
  root.capacity = Capacity{1000, 100 + made.day, 900 - made.day};
  root.depth = made.depth;
  for (const auto& [path, bytes] : made.directories) {
    Subtree subtree;
    subtree.entry.path = path;
    subtree.depth = static_cast<int>(std::count(path.begin(), path.end(), '/')) - 1;
    subtree.totals = Totals{.files = 1, .directories = 1, .others = {}, .bytes = bytes};
    root.subtrees.push_back(subtree);
  }
  Statistics figures;
  figures.totals = Totals{.files = 1, .directories = 1, .others = {}, .bytes = 5};
  Account owner;
  owner.name = "ann";
  owner.totals.bytes = 10 + made.day;
  figures.owners = {owner};
  figures.types = made.types;
  Ranking ranking{.kind = RankingKind::LARGEST_FILES, .limit = 2, .files = {}};
  for (const auto& [path, bytes] : made.files) {
    Entry file;
    file.path = path;
    file.bytes = bytes;
    ranking.files.push_back(file);
  }
  figures.rankings = {ranking};
  root.profiles = {{.id = 1, .name = "everything", .statistics = figures}};
  scan.roots = {root};
  return scan;
}

// The databases to try, each without a history.
std::vector<std::string> databases(const test::TempDir& directory) {
  std::vector<std::string> names = {directory.file("history.db")};
  if (const char* server = std::getenv("ORV_TEST_POSTGRES"))
    names.emplace_back(server);
  else
    std::puts("SKIPPED in PostgreSQL: no server");
  return names;
}

std::string told(const Growth& growth) {
  std::string text;
  for (const Change& change : growth.changes)
    text += change.name + (change.before ? "" : " new") + (change.after ? "" : " gone") + " " +
            std::to_string(change.bytes()) + "\n";
  for (const NewFile& file : growth.newFiles)
    text += "file " + file.path + "\n";
  return text;
}

TEST(HistoryTest, tellsWhatChangedAndNotWhatWasNotMeasured) {
  const test::TempDir directory;
  for (const std::string& name : databases(directory)) {
    History history(name, History::Access::ADD);
    // The first one is before the period of 10 days, the second one is where it begins.
    const std::vector<Made> scans = {
        {.day = 0, .directories = {{"/data/a", 1}}},
        {.day = 5,
         .directories = {{"/data/a", 100}, {"/data/old", 3}, {"/data/same", 4}},
         .files = {{"/data/x", 50}, {"/data/y", 40}},
         .types = {{"c", 1, 70}, {"h", 1, 30}}},
        {.day = 15,
         .depth = 2,
         .directories = {{"/data/a", 90}, {"/data/a/deep", 80}, {"/data/b", 7}, {"/data/same", 4}},
         .files = {{"/data/z", 60}, {"/data/small", 40}},
         .types = {{"c", 1, 71}, {"new", 1, 35}, {"tiny", 1, 29}}},
    };
    for (const Made& made : scans)
      EXPECT_EQ(history.add(scanOf(made), "").scans, 1);
    const auto again = history.add(scanOf(scans[1]), "ignored");
    EXPECT_EQ(again.scans + again.empty, 0);
    EXPECT_EQ(again.present, 1);

    GrowthQuestion question{.host = {}, .path = {}, .period = 10 * DAY};
    // What lies deeper was not measured by the first scan; a file of 40 may have been there.
    const std::string files = "file /data/z\n";
    EXPECT_EQ(told(growthOf(history, question)),
              "/data/b new 7\n/data/old gone -3\n/data/a -10\n" + files);
    question.by = GrowthQuestion::By::TYPE;
    EXPECT_EQ(told(growthOf(history, question)), "new new 35\nc 1\nh gone -30\n" + files);
    question.path = "/data/a";
    question.by = GrowthQuestion::By::DIRECTORY;
    EXPECT_EQ(told(growthOf(history, question)), "/data/a -10\n");

    const auto series = growthSeries(history, "h", "/data", 90 * DAY, 1);
    ASSERT_TRUE(series);
    EXPECT_EQ(series->used.points.size(), 3U);
    EXPECT_EQ(series->used.points.back().bytes, 115);
    ASSERT_EQ(series->directories.size(), 1U);
    EXPECT_EQ(series->directories[0].name, "/data/a");
    EXPECT_EQ(series->directories[0].points[1].bytes, 100);
    EXPECT_FALSE(growthSeries(history, "h", "/elsewhere", 90 * DAY, 1));
  }
}

TEST(HistoryTest, sumsNoPathTwice) {
  const test::TempDir directory;
  for (const std::string& name : databases(directory)) {
    History history(name, History::Access::ADD);
    for (const int day : {20, 22}) {
      const Made inner = {.day = day, .path = "/data/in", .directories = {{"/data/in/a", day}}};
      (void)history.add(scanOf({.day = day, .directories = {{"/data/in/a", day}}}, "n"), "");
      (void)history.add(scanOf(inner, "n"), "");
    }
    GrowthQuestion question{.host = "n", .path = {}, .period = DAY};
    EXPECT_EQ(told(growthOf(history, question)), "/data/in/a 2\n");
    question.by = GrowthQuestion::By::OWNER;
    EXPECT_EQ(told(growthOf(history, question)), "ann 2\n");
    question.path = "/data/in";
    const Growth nearest = growthOf(history, question);
    ASSERT_EQ(nearest.paths.size(), 1U);
    EXPECT_EQ(nearest.paths[0].last.path, "/data/in");
  }
}

}  // namespace
}  // namespace orv::ctl
