// Where clauses in jobs over the hostile tree: what each admits, written once more as a predicate
// over the oracle's entries; and which filesystems a profile's type binds it to.

#include <algorithm>
#include <memory>

#include "flow/Figures.h"
#include "flow/Oracle.h"
#include "support/HostileTree.h"
#include "support/Job.h"

namespace orv::test {
namespace {

using Entry = OracleEntry;

// What a predicate may ask besides the entry: the tree's root and the start of the scan.
struct Place {
  std::string root;
  std::int64_t now;
};

constexpr std::int64_t DAY = 86400;
constexpr std::int64_t YEAR = 31557600;
constexpr std::int64_t YEAR_2000 = 946684800;  // 2000-01-01T00:00:00Z
constexpr std::int64_t GIB = 1LL << 30;

std::int64_t accessedAge(const Entry& e, const Place& p) {
  return p.now - e.accessed;
}
std::int64_t modifiedAge(const Entry& e, const Place& p) {
  return p.now - e.modified;
}
std::string name(const Entry& e) {
  return e.path.substr(e.path.rfind('/') + 1);
}
bool ends(const Entry& e, const std::string& part) {
  return name(e).ends_with(part);
}
// The directory's own path or any below it.
bool below(const Entry& e, const std::string& directory) {
  return (e.path + "/").starts_with(directory + "/");
}
bool isFile(const Entry& e) {
  return e.type == 1;
}

constexpr std::uint32_t ORPHAN = 0x20000, EXEC = 0x80000, SGID = 0x200000;

struct ClauseRow {
  const char* clause;  // ROOT stands for the tree's root
  bool (*admits)(const Entry&, const Place&);
};

#define ADMITS(condition) \
  []([[maybe_unused]] const Entry& e, [[maybe_unused]] const Place& p) -> bool { return condition; }

// clang-format off
const ClauseRow CLAUSES[] = {
    {"size=2..2K",                          ADMITS(e.size >= 2 && e.size <= 2048)},
    {"accessed>=30d",                       ADMITS(accessedAge(e, p) >= 30 * DAY)},
    {"type=f&accessed<0s",                  ADMITS(isFile(e) && accessedAge(e, p) < 0)},
    {"modified>1y",                         ADMITS(modifiedAge(e, p) > YEAR)},
    {"modified=1970-01-01..1999-12-31",     ADMITS(e.modified >= 0 && e.modified < YEAR_2000)},
    {"accessed=1970-01-12T13:46:40",        ADMITS(e.accessed == 1000000)},
    {"created<1d",                          ADMITS(false)},
    {"owner='nobody'|owner=54321",          ADMITS(e.uid == 65534 || e.uid == 54321)},
    {"group=54323",                         ADMITS(e.gid == 54323)},
    {"name~'line?break?.txt'",              ADMITS(name(e) == "line\nbreak\r.txt")},
    {"path~'ROOT/names/%/'",                ADMITS(below(e, p.root + "/names"))},
    {"perm:exec+sgid",                      ADMITS((e.flags & EXEC) != 0 && (e.flags & SGID) != 0)},
    {"perm:orphan&type=f",                  ADMITS((e.flags & ORPHAN) != 0 && isFile(e))},
    {"(type=d|type=f)&size>1G",             ADMITS((e.type == 3 || isFile(e)) && e.size > GIB)},
    {"name~'*.time'&accessed=1d..1y&!modified<=7d",
     ADMITS(ends(e, ".time") && accessedAge(e, p) >= DAY && accessedAge(e, p) <= YEAR && modifiedAge(e, p) > 7 * DAY)},
};
// clang-format on

#undef ADMITS

class SelectionFlow : public Job {
 protected:
  void SetUp() override {
    std::filesystem::create_directories(root);
    mountEntry(root);
  }

  // Runs the job; what it found, with its exit code checked.
  [[nodiscard]] ResultTree runFor(const Definition& definition, int code) {
    define(definition);
    EXPECT_EQ(run(), code) << log();
    return result();
  }

  TempDir area;
  const std::string root = area.file("root");
};

TEST_F(SelectionFlow, everyClauseAdmitsWhatItSays) {
  const HostileTree tree(root);
  Definition definition;
  definition.filesystem(1, root);
  int id = 0;
  for (const ClauseRow& row : CLAUSES) {
    std::string clause = row.clause;
    if (const auto at = clause.find("ROOT"); at != std::string::npos)
      clause.replace(at, 4, root);
    definition.profile(++id, "1", figuresOf(clause));
  }
  const ResultTree file = runFor(definition, 0);
  const Place place{root, std::stoll(file.root().one("Filesystem").row().at("fsScanTime")) / 1000};
  const auto profiles = file.root().all("CuStatDef");
  ASSERT_EQ(profiles.size(), std::size(CLAUSES));
  for (std::size_t i = 0; i < profiles.size(); ++i) {
    const ClauseRow& row = CLAUSES[i];
    const Oracle oracle(root, 1, place.now, [&](const Entry& e) { return row.admits(e, place); });
    expectFigures(profiles[i]->one("ResultsByFS"), oracle, row.clause);
  }
}

// The profiles of a result in file order: "<sdID>:<fsIDs of its results>".
std::vector<std::string> profilesOf(const ResultTree& file) {
  std::vector<std::string> found;
  for (const ResultNode* profile : file.root().all("CuStatDef")) {
    found.push_back(profile->row().at("sdID") + ":");
    for (const ResultNode* entry : profile->all("ResultsByFS"))
      found.back() += entry->row().at("rfDirOrFS");
  }
  return found;
}

TEST_F(SelectionFlow, theTypeSaysWhichFilesystemsAProfileCovers) {
  const std::string second = area.file("second");
  std::filesystem::create_directories(second);
  mountEntry(second);
  // Filesystem 3 is not mounted, 9 is not of the job; 2 is listed twice.
  const ResultTree file = runFor(Definition()
                                     .filesystem(2, second)
                                     .filesystem(1, root)
                                     .filesystem(3, area.file("gone"))
                                     .profile(10, "1", SUMMARY)
                                     .profile(11, "0", SUMMARY)
                                     .profile(12, "3", SUMMARY)
                                     .profile(13, "4", SUMMARY, {1, 3, 9})
                                     .profile(14, "4", SUMMARY, {2, 2})
                                     .profile(15, "4", SUMMARY, {3})
                                     .profile(16, "-7", SUMMARY),
                                 4);
  EXPECT_EQ(profilesOf(file), (std::vector<std::string>{"10:2", "12:2", "14:2", "14:2", "16:2",  //
                                                        "10:1", "12:1", "13:1", "16:1"}));
  // No directories are monitored: type 0 is not applied to anything. Type 3 goes unannounced.
  EXPECT_NE(log().find("STA0026I These profiles are applied to filesystems: \n"), std::string::npos)
      << log();
  for (const char* announced :
       {"10.profile10\n", "13.profile13\n", "14.profile14\n", "15.profile15\n", "16.profile16\n"})
    EXPECT_NE(log().find(announced), std::string::npos) << announced << log();
  for (const char* unannounced : {"profile11", "profile12", "STA0027I"})
    EXPECT_EQ(log().find(unannounced), std::string::npos) << unannounced;
}

TEST_F(SelectionFlow, moreProfilesThanAFilesystemTakesAreSaid) {
  define(Definition().filesystem(1, root).profile(1, "4", SUMMARY, std::vector<int>(65540, 1)));
  EXPECT_EQ(run(), 4);
  EXPECT_NE(log().find("the last 5 are not gathered"), std::string::npos) << log();
}

TEST_F(SelectionFlow, aClauseThatDoesNotParseLeavesItsProfileOut) {
  writeFile(root + "/file", "12345");
  const ResultTree file = runFor(Definition()
                                     .filesystem(1, root)
                                     .profile(1, "1", SUMMARY)
                                     .profile(2, "1", figuresOf("size>1&type=x"))
                                     .profile(3, "4", figuresOf("size>"), {1})
                                     .profile(4, "3", figuresOf("owner=#"))
                                     .profile(5, "1", figuresOf("size>4")),
                                 4);
  EXPECT_EQ(profilesOf(file), (std::vector<std::string>{"1:1", "5:1"}));
  // What was gathered under a clause does not repeat it.
  EXPECT_EQ(file.root().all("CuStatDef").back()->row().at("sdWhereClause"), "");
  for (const char* line :
       {"STA0029E The where clause of profile 2.profile2 does not parse at position 13: found "
        "\"x\"",
        "STA0029E The where clause of profile 3.profile3 does not parse at position 6: found the "
        "end",
        "STA0029E The where clause of profile 4.profile4 does not parse at position 7: found"})
    EXPECT_NE(log().find(line), std::string::npos) << line << "\n" << log();
  EXPECT_EQ(log().find("\n2.profile2"), std::string::npos);
}

}  // namespace
}  // namespace orv::test
