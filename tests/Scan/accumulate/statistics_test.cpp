#include "Scan/accumulate/Statistics.h"

#include <set>

#include "Common/ORVCommon/CommonAgentFactory.h"
#include "Scan/accumulate/AccumulatorFixture.h"
#include "Scan/accumulate/CuStatAccum.h"
#include "Scan/definition/AgentScan.h"
#include "Scan/definition/CuStatDef.h"
#include "support/Printed.h"

namespace orv {
namespace {

using test::printed;

std::vector<std::string> valuesOf(const std::string& line) {
  std::vector<std::string> values;
  for (std::size_t at = 0; at < line.size();) {
    const std::size_t end = std::min(line.find_first_of(",\n", at), line.size());
    std::string value = line.substr(at, end - at);
    std::erase(value, '"');
    values.push_back(value);
    at = end + 1;
  }
  return values;
}

using Statistics = test::AccumulatorTest;

// Each switch and count of a profile fills one slot, every slot is filled by one, and what is
// printed for it is announced in the result's header section.
TEST_F(Statistics, everyOneIsWired) {
  const std::set<std::string> noStatistic = {"sdID",
                                             "sdAlertID",
                                             "sdMinSize",
                                             "sdMinAge",
                                             "sdAgeFactor",
                                             "sdSizeFactor",
                                             "sdCandidatesToCollect",
                                             "sdHSMScoring",
                                             "sdCreator",
                                             "sdName",
                                             "sdDescription",
                                             "sdType",
                                             "sdShare",
                                             "sdWhereClause",
                                             "sdWinOnlyFileType",
                                             "sdDailyRetention",
                                             "sdWeeklyRetention",
                                             "sdMonthlyRetention"};
  CommonAgentFactory::getCommonAgent()->isWindows = true;  // the other platform has creation times
  UserOrGroup identity;
  FileAttributes file = entry(FT_REGULAR, 10, "/a.b");
  file.faOwner = file.faGroup = &identity;
  file.faAttributes = FA_ORPHAN | FA_ARCHIVE;
  const std::string header = printed([](GenericPrint& print) { AgentScan::printHeader(print); });
  const auto slots = valuesOf(printed(CuStatResults::printHeader));
  std::set<std::string> unfilled(slots.begin() + 1, slots.end());
  for (const std::string& name : valuesOf(printed(CuStatDef::printHeader))) {
    CuStatDef profile;
    if (!noStatistic.contains(name)) {
      profile.inititializeObject({name}, {{"1"}});  // a count
      const std::string number = profile.toString();
      profile.inititializeObject({name}, {{"Y"}});  // a switch: any other text leaves it alone
      if (number != CuStatDef().toString())
        profile.inititializeObject({name}, {{"1"}});
    }
    CuStatAccum accum;
    accum.buildAccum(profile, filesystem);
    accum.directoryEntered(&file);
    accum.actUpon(&scanner, &file);
    accum.directoryLeft();
    const std::unique_ptr<CuStatResults> results = accum.takeResults();
    const std::string text = printed([&](GenericPrint& print) { results->printData(print); });
    const auto counts = valuesOf(text.substr(text.find('\n') + 1));
    int filled = 0;
    for (std::size_t i = 1; i < slots.size(); ++i) {
      if (counts[i] == "0")
        continue;
      ++filled;
      unfilled.erase(slots[i]);
      const std::size_t tag = text.rfind('[', text.find("," + slots[i] + "]"));
      const std::string entity = text.substr(tag, text.find(',', tag) - tag) + "]";
      EXPECT_NE(header.find(entity), std::string::npos) << entity;
    }
    EXPECT_EQ(filled, noStatistic.contains(name) ? 0 : 1) << name;
    for (const auto& made : makeAccumulators({profile, filesystem, *results, 0, true}))
      EXPECT_TRUE(isStatistic(*made)) << made->objectName();
  }
  CommonAgentFactory::getCommonAgent()->isWindows = false;
  EXPECT_EQ(unfilled, std::set<std::string>{"srHSMScoring"}) << "scoring is the server's";
}

}  // namespace
}  // namespace orv
