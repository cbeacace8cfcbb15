#include "Scan/accumulate/Statistics.h"

#include <map>

#include "Common/ORVCommon/CommonAgentFactory.h"
#include "Scan/accumulate/AccumulatorFixture.h"
#include "Scan/accumulate/CuStatAccum.h"
#include "Scan/definition/AgentScan.h"
#include "Scan/definition/CuStatDef.h"

namespace orv {
namespace {

using test::filledSlots;
using test::printed;
using test::valuesOf;

// clang-format off
const std::map<std::string, std::string> SLOT_OF_FIELD = {
    {"sdLargestDirectories", "srLargestDirectories"}, {"sdLargestFiles", "srLargestFiles"},
    {"sdLeastAccessed", "srLeastAccessed"}, {"sdOldestNotBackedUp", "srOldestNotBackedUp"},
    {"sdLargestOrphans", "srLargestOrphans"}, {"sdOldestOrphans", "srOldestOrphans"},
    {"sdLargestFileTypes", "srFileTypes"}, {"sdSummary", "srSummary"},
    {"sdSizeDistribution", "srSizeDist"}, {"sdGroupByOwner", "srOwners"},
    {"sdGroupByGroup", "srGroups"}, {"sdGroupByAccess", "srAccessed"},
    {"sdGroupByMod", "srModified"}, {"sdGroupByCreation", "srCreated"},
    {"sdGroupByBackup", "srBackup"}};
// clang-format on

class Statistics : public test::AccumulatorTest {
 protected:
  Statistics() {
    file.faOwner = file.faGroup = &identity;
    file.faAttributes = FA_ORPHAN | FA_ARCHIVE;
  }
  void TearDown() override { CommonAgentFactory::getCommonAgent()->isWindows = false; }

  // What a directory with one file, which has everything a statistic may look for, leaves.
  std::unique_ptr<CuStatResults> resultsOf(CuStatDef& profile) {
    CuStatAccum accum;
    accum.buildAccum(profile, filesystem);
    accum.directoryEntered(&file);
    accum.actUpon(&scanner, &file);
    accum.directoryLeft();
    return accum.takeResults();
  }

  UserOrGroup identity;
  FileAttributes file = entry(FT_REGULAR, 10, "/a.b");
};

// Each switch and count of a profile fills its slot, every slot has one, and what is printed for it
// is announced in the result's header section.
TEST_F(Statistics, everyOneIsWired) {
  CommonAgentFactory::getCommonAgent()->isWindows = true;  // the other platform has creation times
  const std::string header = printed([](GenericPrint& print) { AgentScan::printHeader(print); });
  std::string unfilled = printed(CuStatResults::printHeader);
  for (const std::string& name : valuesOf(printed(CuStatDef::printHeader))) {
    CuStatDef profile;
    const auto wired = SLOT_OF_FIELD.find(name);
    for (const char* value : {"1", "Y"})  // a count, or a switch, which is left alone by "1"
      if (wired != SLOT_OF_FIELD.end() && filledSlots(*resultsOf(profile)).empty())
        profile.inititializeObject({name}, {{value}});
    const auto results = resultsOf(profile);
    EXPECT_EQ(filledSlots(*results), wired == SLOT_OF_FIELD.end() ? "" : wired->second + " ");
    for (const auto& made : makeAccumulators({profile, filesystem, *results, 0, true}))
      EXPECT_TRUE(isStatistic(*made)) << made->objectName();
    if (wired == SLOT_OF_FIELD.end())
      continue;
    unfilled.erase(unfilled.find("," + wired->second), wired->second.size() + 1);
    const std::string text = printed([&](GenericPrint& print) { results->printData(print); });
    const std::size_t tag = text.rfind('[', text.find("," + wired->second + "]"));
    const std::string entity = text.substr(tag, text.find(',', tag) - tag) + "]";
    EXPECT_NE(header.find(entity), std::string::npos) << entity;
  }
  EXPECT_EQ(unfilled, "srID,srHSMScoring\n") << "scoring is the server's";
}

TEST_F(Statistics, conditionsOfTheSwitches) {
  using Def = CuStatDef;
  const struct {
    const char* slots;
    void (*set)(Def&);
    bool isWindows = false;
  } rows[] = {
      {"", [](Def& d) { d.sdLargestFiles = d.sdLargestDirectories = -1; }},
      {"srOwners srGroups ", [](Def& d) { d.sdGroupByOwner = d.sdGroupByGroup = true; }},
      {"", [](Def& d) { d.sdGroupByOwner = d.sdGroupByGroup = true; }, true},  // FAT
      {"", [](Def& d) { d.sdSummary = 2; }},
      {"", [](Def& d) { d.sdGroupByCreation = true; }},
      {"", [](Def& d) { d.sdLargestFileTypes = 1, d.sdWinOnlyFileType = true; }},
      {"srFileTypes ", [](Def& d) { d.sdLargestFileTypes = 1, d.sdWinOnlyFileType = true; }, true},
  };
  filesystem.fsType = Filesystem::TYPE_FAT;
  for (const auto& row : rows) {
    CommonAgentFactory::getCommonAgent()->isWindows = row.isWindows;
    CuStatDef profile;
    row.set(profile);
    EXPECT_EQ(filledSlots(*resultsOf(profile)), row.slots) << "row " << &row - rows;
  }
}

}  // namespace
}  // namespace orv
