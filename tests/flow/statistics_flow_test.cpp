// Every figure of every record of a real scan of the hostile tree, compared with an independent
// oracle.

#include <grp.h>
#include <pwd.h>

#include <algorithm>
#include <map>

#include "flow/Figures.h"
#include "flow/Oracle.h"
#include "support/HostileTree.h"

namespace orv::test {
namespace {

constexpr std::size_t KEEP = 25;

const Fields EVERYTHING = {
    {"sdSummary", "Y"},         {"sdSizeDistribution", "Y"}, {"sdGroupByOwner", "Y"},
    {"sdGroupByGroup", "Y"},    {"sdGroupByAccess", "Y"},    {"sdGroupByMod", "Y"},
    {"sdGroupByCreation", "Y"}, {"sdGroupByBackup", "Y"},    {"sdLargestDirectories", "25"},
    {"sdLargestFiles", "25"},   {"sdLeastAccessed", "25"},   {"sdOldestNotBackedUp", "25"},
    {"sdLargestOrphans", "25"}, {"sdOldestOrphans", "25"},   {"sdLargestFileTypes", "25"}};

std::string text(std::int64_t value) {
  return std::to_string(value);
}

// A name as the result shows it: line breaks become blanks.
std::string shown(std::string path) {
  std::replace(path.begin(), path.end(), '\n', ' ');
  std::replace(path.begin(), path.end(), '\r', ' ');
  return path;
}

// Threads that read, and a time-out that nothing comes near.
struct Reading {
  const char* threads;
  const char* timeout;
};

// With one thread, and reading ahead of the walk: with threads, and with lanes.
class StatisticsFlow : public Job, public ::testing::WithParamInterface<Reading> {
 protected:
  void SetUp() override {
    root = area.file("root");
    std::filesystem::create_directories(root);
    const HostileTree tree(root);
    env["ORV_WALK_THREADS"] = GetParam().threads;
    mountEntry(root);
    define(Definition().filesystem(5, root).profile(42, "1", EVERYTHING));
    ASSERT_EQ(run({"-nfstimeout", GetParam().timeout}), 0) << log();
    file = std::make_unique<ResultTree>(outputFile());
    results = &file->root().one("CuStatDef").one("ResultsByFS").one("CuStatResults");
    scanTime = file->root().one("Filesystem").row().at("fsScanTime");
    oracle = std::make_unique<Oracle>(root, KEEP, std::stoll(scanTime) / 1000);
  }

  void expectRow(const Row& row, const Row& expected, const std::string& what) {
    for (const auto& [name, value] : expected)
      EXPECT_EQ(row.at(name), value) << what << " " << name;
  }

  void expectAttributes(const Row& row, const OracleEntry& e) {
    const passwd* owner = ::getpwuid(e.uid);
    const group* group = ::getgrgid(e.gid);
    expectRow(row,
              {{"faName", shown(e.path == root ? root + "/" : e.path)},
               {"faType", text(e.type)},
               {"faOwner", owner == nullptr ? text(e.uid) : owner->pw_name},
               {"faGroup", group == nullptr ? text(e.gid) : group->gr_name},
               {"faLength", text(e.size)},
               {"faBlocks", text(e.blocks)},
               {"faModified", text(e.modified * 1000)},
               {"faAccessed", text(e.accessed * 1000)},
               {"faCreated", "0"},
               {"faAttributes", text(e.flags)},
               {"faLinkCount", text(static_cast<std::int64_t>(e.links))},
               {"faInodeNumber", std::to_string(e.inode)}},
              e.path);
  }

  void expectFiles(const std::string& slot, const std::string& kind,
                   const std::vector<OracleEntry>& expected) {
    const auto& rows = results->one("SFile", slot).rows;
    ASSERT_EQ(rows.size(), expected.size()) << slot;
    for (std::size_t i = 0; i < rows.size(); ++i) {
      expectAttributes(rows[i], expected[i]);
      expectRow(rows[i], {{"sfFilesystemID", "5"}, {"sfStatisticID", "42"}, {"sfStatType", kind}},
                slot);
    }
  }

  void expectOwners(const std::string& slot, const std::map<std::uint32_t, OracleTotals>& expected,
                    const std::string& idColumn) {
    const auto& rows = results->one("SUserOrGroup", slot).rows;
    const auto& identities = results->one("UserOrGroup", slot).rows;
    ASSERT_EQ(rows.size(), expected.size()) << slot;
    ASSERT_EQ(identities.size(), expected.size()) << slot;
    std::size_t i = 0;
    for (auto it = expected.rbegin(); it != expected.rend(); ++it, ++i) {
      expectRow(rows[i],
                {{"sugIdentity", text(it->first)},
                 {"sugFilesystemID", "5"},
                 {"sugStatisticID", "42"},
                 {"sugTimestamp", scanTime},
                 {"sugFileCount", text(it->second.files)},
                 {"sugDirectoryCount", text(it->second.directories)},
                 {"sugTotalSize", text(it->second.total)},
                 {"sugLargestSize", text(it->second.largest)},
                 {"sug2ndLargestSize", text(it->second.second)},
                 {"sugSizes", listed(it->second.sizes)},
                 {"sugCounts", listed(it->second.counts)}},
                slot + " " + text(it->first));
      EXPECT_EQ(identities[i].at(idColumn), text(it->first)) << slot;
      const bool isKnown =
          idColumn == "ugID" ? ::getpwuid(it->first) != nullptr : ::getgrgid(it->first) != nullptr;
      EXPECT_EQ(identities[i].at("ugRemoved"), isKnown ? "N" : "Y") << slot;
    }
  }

  void expectAges(const std::string& slot, const std::string& type, const OracleAges& ages) {
    expectRow(results->one("STimeDist", slot).row(),
              {{"tdFilesystemID", "5"},
               {"tdStatisticID", "42"},
               {"tdType", type},
               {"tdSizes", listed(ages.sizes)},
               {"tdCounts", listed(ages.counts)},
               {"tdAverageAge", text(ages.average)}},
              slot);
  }

  void expectDirectories() {
    const auto& rows = results->one("SDirectory", "srLargestDirectories").rows;
    ASSERT_EQ(rows.size(), oracle->largestDirectories.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
      const OracleTotals& expected = oracle->largestDirectories[i];
      expectAttributes(rows[i], expected.entry);
      expectRow(rows[i],
                {{"dirFilesystemID", "5"},
                 {"dirStatisticID", "42"},
                 {"dirFileCount", text(expected.files)},
                 {"dirDirectoryCount", text(expected.directories)},
                 {"dirTotalSize", text(expected.total)},
                 {"dirLargestSize", text(expected.largest)},
                 {"dir2ndLargestSize", text(expected.second)},
                 {"dirSizes", listed(expected.sizes)},
                 {"dirCounts", listed(expected.counts)}},
                expected.entry.path);
    }
  }

  void expectFileTypes() {
    const auto& rows = results->one("FileTypeSummary", "srFileTypes").rows;
    std::map<std::string, std::string> names;
    for (const Row& row : results->one("FileType", "srFileTypes").rows)
      names[row.at("fptID")] = row.at("ftpFileExtension");
    ASSERT_EQ(rows.size(), oracle->extensions.size());
    std::map<std::string, std::pair<std::int64_t, std::int64_t>> expected;
    for (const auto& extension : oracle->extensions)
      expected[shown(extension.name)] = {extension.files, extension.total};
    for (std::size_t i = 0; i < rows.size(); ++i) {
      // Equal totals may come in either order: compared by extension, in descending order of size.
      EXPECT_EQ(rows[i].at("spaceUsed"), text(oracle->extensions[i].total)) << i;
      const auto& [count, total] = expected.at(names.at(rows[i].at("fileType")));
      EXPECT_EQ(rows[i].at("fileCount"), text(count)) << names.at(rows[i].at("fileType"));
      EXPECT_EQ(rows[i].at("spaceUsed"), text(total)) << names.at(rows[i].at("fileType"));
    }
  }

  TempDir area;
  std::string root;
  std::unique_ptr<ResultTree> file;
  const ResultNode* results = nullptr;
  std::string scanTime;
  std::unique_ptr<Oracle> oracle;
};

TEST_P(StatisticsFlow, everyRecordEqualsTheOracle) {
  expectFigures(file->root().one("CuStatDef").one("ResultsByFS"), *oracle, "figures");
  expectRow(results->one("SSummary", "srSummary").row(),
            {{"sumFilesystemID", "5"},
             {"sumStatisticID", "42"},
             {"sumFreeSpace", file->root().one("Filesystem").row().at("fsFreeSpace")},
             {"sumUsedSpace", file->root().one("Filesystem").row().at("fsUsedSpace")}},
            "summary");
  expectRow(results->one("SSizeDist", "srSizeDist").row(),
            {{"szdFilesystemID", "5"}, {"szdStatisticID", "42"}}, "sizes");
  expectAges("srAccessed", "0", oracle->accessed);
  expectAges("srModified", "1", oracle->modified);
  expectAges("srBackup", "3", OracleAges());
  EXPECT_TRUE(results->all("STimeDist", "srCreated").empty());
  expectOwners("srOwners", oracle->owners, "ugID");
  expectOwners("srGroups", oracle->groups, "ugGroupID");
  expectFiles("srLargestFiles", "0", oracle->largestFiles);
  expectFiles("srLeastAccessed", "1", oracle->leastAccessed);
  if (::geteuid() == 0) {
    expectFiles("srLargestOrphans", "3", oracle->largestOrphans);
    expectFiles("srOldestOrphans", "4", oracle->oldestOrphans);
  }
  EXPECT_TRUE(results->all("SFile", "srOldestNotBackedUp").empty());
  expectDirectories();
  expectFileTypes();
  // Slots stand in the order of the header line; identities follow the records that refer to them.
  std::string slots;
  for (const ResultNode& slot : results->children)
    slots += slot.name + "," + slot.qualifier + " ";
  EXPECT_EQ(slots,
            "SDirectory,srLargestDirectories SFile,srLargestFiles SFile,srLeastAccessed "
            "SFile,srLargestOrphans SFile,srOldestOrphans FileTypeSummary,srFileTypes "
            "FileType,srFileTypes SSummary,srSummary SSizeDist,srSizeDist SUserOrGroup,srOwners "
            "UserOrGroup,srOwners SUserOrGroup,srGroups UserOrGroup,srGroups STimeDist,srAccessed "
            "STimeDist,srModified STimeDist,srBackup ");
}

INSTANTIATE_TEST_SUITE_P(Threads, StatisticsFlow,
                         ::testing::Values(Reading{"1", "0"}, Reading{"8", "0"},
                                           Reading{"1", "1000"}, Reading{"8", "1000"}),
                         [](const auto& parameter) {
                           return std::string(parameter.param.threads) + "_" +
                                  parameter.param.timeout;
                         });

}  // namespace
}  // namespace orv::test
