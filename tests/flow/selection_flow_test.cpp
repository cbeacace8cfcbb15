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
bool starts(const Entry& e, const std::string& part) {
  return name(e).starts_with(part);
}
// The directory's own path or any below it.
bool below(const Entry& e, const std::string& directory) {
  return (e.path + "/").starts_with(directory + "/");
}
bool isFile(const Entry& e) {
  return e.type == 1;
}

constexpr std::uint32_t ORPHAN = 0x20000, EXEC = 0x80000, STICKY = 0x100000, SGID = 0x200000,
                        SUID = 0x400000;

struct ClauseRow {
  const char* clause;  // ROOT stands for the tree's root
  bool (*admits)(const Entry&, const Place&);
};

#define ADMITS(condition) \
  []([[maybe_unused]] const Entry& e, [[maybe_unused]] const Place& p) -> bool { return condition; }

// clang-format off
const ClauseRow CLAUSES[] = {
    {"size<2",                              ADMITS(e.size < 2)},
    {"size<=2",                             ADMITS(e.size <= 2)},
    {"size>1G",                             ADMITS(e.size > GIB)},
    {"size>=3g",                            ADMITS(e.size >= 3 * GIB)},
    {"SIZE=0",                              ADMITS(e.size == 0)},
    {"size!=5000",                          ADMITS(e.size != 5000)},
    {"size=2..2K",                          ADMITS(e.size >= 2 && e.size <= 2048)},
    {"size=4G..5G",                         ADMITS(e.size >= 4 * GIB && e.size <= 5 * GIB)},
    {"size>4T",                             ADMITS(e.size > 4096 * GIB)},
    {"accessed>30d",                        ADMITS(accessedAge(e, p) > 30 * DAY)},
    {"accessed>=30d",                       ADMITS(accessedAge(e, p) >= 30 * DAY)},
    {"accessed<1d",                         ADMITS(accessedAge(e, p) < DAY)},
    {"accessed<=1440m",                     ADMITS(accessedAge(e, p) <= DAY)},
    {"accessed=1w..30d",                    ADMITS(accessedAge(e, p) >= 7 * DAY && accessedAge(e, p) <= 30 * DAY)},
    {"type=f&accessed<0s",                  ADMITS(isFile(e) && accessedAge(e, p) < 0)},
    {"modified>1y",                         ADMITS(modifiedAge(e, p) > YEAR)},
    {"modified!=24h",                       ADMITS(modifiedAge(e, p) != DAY)},
    {"modified=60d..90d",                   ADMITS(modifiedAge(e, p) >= 60 * DAY && modifiedAge(e, p) <= 90 * DAY)},
    {"modified<2000-01-01",                 ADMITS(e.modified < YEAR_2000)},
    {"modified>2000-01-01",                 ADMITS(e.modified >= YEAR_2000 + DAY)},
    {"modified=1970-01-01..1999-12-31",     ADMITS(e.modified >= 0 && e.modified < YEAR_2000)},
    {"modified<1970-01-01",                 ADMITS(e.modified < 0)},
    {"accessed=1970-01-12T13:46:40",        ADMITS(e.accessed == 1000000)},
    {"created=1970-01-01",                  ADMITS(true)},
    {"created<1d",                          ADMITS(false)},
    {"owner='root'",                        ADMITS(e.uid == 0)},
    {"owner!=0",                            ADMITS(e.uid != 0)},
    {"owner='nobody'|owner=54321",          ADMITS(e.uid == 65534 || e.uid == 54321)},
    {"owner='54322'",                       ADMITS(e.uid == 54322)},
    {"owner=4294967294",                    ADMITS(e.uid == 4294967294U)},
    {"group=54323",                         ADMITS(e.gid == 54323)},
    {"group!='root'",                       ADMITS(e.gid != 0)},
    {"name~'*.txt'",                        ADMITS(ends(e, ".txt"))},
    {"name!~'*.*'",                         ADMITS(name(e).find('.') == std::string::npos)},
    {"name~'s2?.bin'",                      ADMITS(name(e).size() == 7 && starts(e, "s2") && ends(e, ".bin"))},
    {"name~'[A-Z]*'",                       ADMITS(name(e)[0] >= 'A' && name(e)[0] <= 'Z')},
    {"name~'line?break?.txt'",              ADMITS(name(e) == "line\nbreak\r.txt")},
    {"name~'&[Tag&]'",                      ADMITS(name(e) == "[Tag]")},
    {"name~'back&&slash*'",                 ADMITS(starts(e, "back\\slash"))},
    {"name~'invalid??.utf8'",               ADMITS(name(e) == "invalid\xff\xfe.utf8")},
    {"name~'n*n'",                          ADMITS(name(e).size() > 1 && starts(e, "n") && ends(e, "n"))},
    {"name~'README'",                       ADMITS(name(e) == "README")},
    {"path~'ROOT/*'",                       ADMITS(e.path.rfind('/') == p.root.size())},
    {"path~'ROOT/names/%/'",                ADMITS(below(e, p.root + "/names"))},
    {"path~'links/%/'",                     ADMITS(below(e, p.root + "/links"))},
    {"path~'%/a/*'",                        ADMITS(e.path.starts_with(p.root + "/links/a/"))},
    {"path~'/%/dir.with.dots/%/*.deep'",    ADMITS(ends(e, ".deep"))},
    {"path!~'times/*'",                     ADMITS(!e.path.starts_with(p.root + "/times/"))},
    {"path~'ROOT/sizes/tie[0-2]'",          ADMITS(e.path >= p.root + "/sizes/tie0" && e.path <= p.root + "/sizes/tie2")},
    {"type=f",                              ADMITS(isFile(e))},
    {"type!=fd",                            ADMITS(e.type != 1 && e.type != 3)},
    {"type=lpsb",                           ADMITS(e.type == 2 || e.type >= 4)},
    {"perm:suid",                           ADMITS((e.flags & SUID) != 0)},
    {"perm:exec+sgid",                      ADMITS((e.flags & EXEC) != 0 && (e.flags & SGID) != 0)},
    {"perm:sticky",                         ADMITS((e.flags & STICKY) != 0)},
    {"perm:orphan&type=f",                  ADMITS((e.flags & ORPHAN) != 0 && isFile(e))},
    {"type=d|type=f&size>1G",               ADMITS(e.type == 3 || (isFile(e) && e.size > GIB))},
    {"(type=d|type=f)&size>1G",             ADMITS((e.type == 3 || isFile(e)) && e.size > GIB)},
    {"!(size<1K|type=d)",                   ADMITS(e.size >= 1024 && e.type != 3)},
    {"!!type=l",                            ADMITS(e.type == 2)},
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
