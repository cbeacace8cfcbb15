#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "Scan/definition/CuStatDef.h"
#include "Scan/entry/UserTable.h"
#include "Scan/select/ClauseText.h"
#include "Scan/select/SelectExplain.h"
#include "Scan/select/SelectParser.h"
#include "support/TempDir.h"

namespace orv {
namespace {

using Entry = FileAttributes;

constexpr std::int64_t START = 1718452800;  // 2024-06-15 12:00:00 UTC
constexpr std::int64_t DAY = 86400;
constexpr std::int64_t NEW_YEAR = 1704067200;  // 2024-01-01 00:00:00 UTC

UserOrGroup identity(std::int16_t type, std::int32_t id, const char* name) {
  UserOrGroup result;
  result.ugType = type;
  (type == UserOrGroup::GROUP ? result.ugGroupID : result.ugID) = id;
  result.ugName = name;
  return result;
}

const UserOrGroup ROOT = identity(UserOrGroup::USER, 0, "root");
const UserOrGroup GONE = identity(UserOrGroup::USER, 1234, "1234");
const UserOrGroup NOBODY = identity(UserOrGroup::USER, -2, "nobody");
const UserOrGroup STAFF = identity(UserOrGroup::GROUP, 50, "staff");

// Entries that mix every value of each column with every one of the others: the columns' lengths
// have no common factor but those of 2.
std::vector<Entry> entries() {
  // clang-format off
  const char* names[] = {"/", "/mnt/x/", "/mnt/x/a.txt", "/mnt/x/lib/libz.so.1",
      "/mnt/x/tmp/%/b", "/mnt/x/a b,c", "/mnt/x/new\nline.txt", "/mnt/x/bad\xff\xfe.txt",
      "/mnt/x/.hidden", "/mnt/x/caf\xc3\xa9", "/mnt/x/[x]$^", "/mnt/x/back\\slash",
      "/mnt/x/deep/tmp/a/b/c.TXT"};
  const std::int64_t sizes[] = {0, 1, 1023, 1024, 1025, 10 << 20, INT64_MAX};
  const std::int64_t times[] = {START * 1000, START * 1000 + 999, (START + 5) * 1000,
      (START - DAY) * 1000, (START - DAY) * 1000 - 1, (START - 30 * DAY) * 1000,
      (START - 31557601) * 1000, -1, NEW_YEAR * 1000, (NEW_YEAR + DAY) * 1000 - 1, (NEW_YEAR + DAY) * 1000};
  const UserOrGroup* owners[] = {&ROOT, &GONE, nullptr, &NOBODY, &ROOT};
  const std::uint32_t flags[] = {0, FA_SETUID, FA_SETGID | FA_SETUID, FA_STICKY, FA_EXECUTABLE,
      FA_ORPHAN | FA_EXECUTABLE, FA_BLOCK_DEVICE, 0xFFFFFFFF, FA_ARCHIVE};
  // clang-format on
  std::vector<Entry> result(4000);
  for (std::size_t i = 0; i < result.size(); ++i) {
    Entry& entry = result[i];
    entry.faName = names[i % std::size(names)];
    entry.faType = static_cast<std::uint8_t>(i % 8);
    entry.faLength = sizes[i % std::size(sizes)];
    entry.faAccessed = times[i % std::size(times)];
    entry.faModified = times[i / 3 % std::size(times)];
    entry.faLinkCount = i % 11 == 0 ? UINT32_MAX : static_cast<std::uint32_t>(i % 3);
    entry.faOwner = owners[i % std::size(owners)];
    entry.faGroup = i % 3 == 0 ? &STAFF : nullptr;
    // Ids that share a name share the record, which shows one of them.
    entry.ownerId = i % 10 == 0 ? 17 : entry.faOwner == &NOBODY ? 4294967294 : 0;
    entry.groupId = i % 3 == 0 ? 50 : 0;
    entry.faAttributes = flags[i / 7 % std::size(flags)];
  }
  return result;
}

std::int64_t seconds(std::int64_t milliseconds) {
  return static_cast<std::int64_t>(std::floor(static_cast<long double>(milliseconds) / 1000));
}
std::int64_t accessedAge(const Entry& e) {
  return START - seconds(e.faAccessed);
}
std::int64_t modifiedAge(const Entry& e) {
  return START - seconds(e.faModified);
}
bool isUser(const UserOrGroup* who, const char* name) {
  return who != nullptr && who->ugName == name;
}
bool has(const Entry& e, const char* part) {
  return e.faName.find(part) != std::string::npos;
}
bool ends(const Entry& e, const char* part) {
  return e.faName.ends_with(part);
}

struct ClauseRow {
  const char* clause;
  bool (*admits)(const Entry&);
};

// clang-format off
#define ADMITS(condition) [](const Entry& e) -> bool { return condition; }
const ClauseRow CLAUSES[] = {
    {"size<=1K", ADMITS(e.faLength <= 1024)},
    {"size>=1025", ADMITS(e.faLength > 1024)},
    {"size!=10M", ADMITS(e.faLength != 10485760)},
    {"size=1..1K", ADMITS(e.faLength >= 1 && e.faLength <= 1024)},
    {"size>8388607T", ADMITS(e.faLength == INT64_MAX)},
    {"size>=9223372036854775807", ADMITS(e.faLength == INT64_MAX)},
    {"links=1", ADMITS(e.faLinkCount == 1)},
    {"LINKS>=4294967295", ADMITS(e.faLinkCount == UINT32_MAX)},
    {"type=dl", ADMITS(e.faType == FT_DIRECTORY || e.faType == FT_SYMLINK)},
    {"Type=PSB", ADMITS(e.faType == FT_FIFO || e.faType == FT_SOCKET || e.faType == FT_DEVICE)},
    {"type!=fd", ADMITS(e.faType != FT_REGULAR && e.faType != FT_DIRECTORY)},
    {"perm:suid+sgid", ADMITS((e.faAttributes & FA_SETUID) != 0 && (e.faAttributes & FA_SETGID) != 0)},
    {"perm:Sticky", ADMITS((e.faAttributes & FA_STICKY) != 0)},
    {"perm:orphan+exec", ADMITS((e.faAttributes & FA_ORPHAN) != 0 && (e.faAttributes & FA_EXECUTABLE) != 0)},
    {"!perm:exec", ADMITS((e.faAttributes & FA_EXECUTABLE) == 0)},
    {"accessed>1d", ADMITS(accessedAge(e) > DAY)},
    {"accessed<=24h", ADMITS(accessedAge(e) <= DAY)},
    {"accessed<0s", ADMITS(accessedAge(e) < 0)},
    {"modified>=0s", ADMITS(modifiedAge(e) >= 0)},
    {"modified>1Y", ADMITS(modifiedAge(e) > 31557600)},
    {"modified=1d..5w", ADMITS(modifiedAge(e) >= DAY && modifiedAge(e) <= 35 * DAY)},
    {"accessed=2024-01-01", ADMITS(e.faAccessed >= NEW_YEAR * 1000 && e.faAccessed < (NEW_YEAR + DAY) * 1000)},
    {"accessed!=2024-01-01", ADMITS(e.faAccessed < NEW_YEAR * 1000 || e.faAccessed >= (NEW_YEAR + DAY) * 1000)},
    {"accessed>2024-01-01", ADMITS(e.faAccessed >= (NEW_YEAR + DAY) * 1000)},
    {"accessed<=2024-01-01", ADMITS(e.faAccessed < (NEW_YEAR + DAY) * 1000)},
    {"accessed<2024-01-01T00:00:00", ADMITS(e.faAccessed < NEW_YEAR * 1000)},
    {"accessed=2024-01-01t23:59:59", ADMITS(e.faAccessed == (NEW_YEAR + DAY) * 1000 - 1)},
    {"modified=2024-01-01..2024-01-02", ADMITS(e.faModified >= NEW_YEAR * 1000 && e.faModified < (NEW_YEAR + 2 * DAY) * 1000)},
    {"modified<1970-01-01", ADMITS(e.faModified < 0)},
    {"owner='root'", ADMITS(isUser(e.faOwner, "root"))},
    {"owner=17", ADMITS(e.ownerId == 17)},
    {"owner='1234'", ADMITS(e.faOwner == &GONE)},
    {"owner=4294967294", ADMITS(e.faOwner == &NOBODY)},
    {"group=50", ADMITS(e.faGroup != nullptr)},
    {"group!='staff'", ADMITS(e.faGroup == nullptr)},
    {"name~'*.txt'", ADMITS(ends(e, ".txt"))},
    {"name~'x'", ADMITS(e.faName == "/mnt/x/")},
    {"path~'/mnt/x'", ADMITS(e.faName == "/mnt/x/")},
    {"name~'?*'", ADMITS(e.faName != "/")},
    {"path~'/mnt/x/%/'", ADMITS(e.faName != "/")},
    {"path~'tmp/%/'", ADMITS(has(e, "/tmp/"))},
    {"path~'/mnt/x/*'", ADMITS(e.faName != "/mnt/x/" && e.faName.rfind('/') == 6)},
    {"path~'*.[Tt][Xx][Tt]'", ADMITS(ends(e, ".txt") || ends(e, ".TXT"))},
    {"name~'caf?[^x]'", ADMITS(ends(e, "caf\xc3\xa9"))},
    {"name~'bad??.txt'", ADMITS(has(e, "bad"))},
    {"name~'new*line?txt'", ADMITS(has(e, "new"))},
    {"name~'&[x&]$^'", ADMITS(has(e, "[x]"))},
    {"name~'back&&slash'", ADMITS(has(e, "back"))},
    {"path~'\\mnt\\x\\.*'", ADMITS(has(e, ".hidden"))},
    {"(type=f|type=d)&size=0", ADMITS((e.faType == FT_REGULAR || e.faType == FT_DIRECTORY) && e.faLength == 0)},
    {"!(path~'/mnt/x/l?b/%/'|name~'*.txt')&!!size>1K", ADMITS(!has(e, "/lib/") && !ends(e, ".txt") && e.faLength > 1024)},
    {"!type=f&owner='root'", ADMITS(e.faType != FT_REGULAR && isUser(e.faOwner, "root"))},
};
#undef ADMITS
// clang-format on

TEST(SelectTest, clausesAdmitWhatTheySay) {
  const std::vector<Entry> tree = entries();
  const SelectContext context{START};
  for (const ClauseRow& row : CLAUSES) {
    const ParsedClause parsed = SelectParser().parse(row.clause);
    ASSERT_TRUE(parsed) << row.clause << ": expected " << parsed.error.expected;
    std::size_t admitted = 0;
    for (const Entry& entry : tree) {
      admitted += row.admits(entry) ? 1 : 0;
      ASSERT_EQ(parsed.node->matches(entry, context), row.admits(entry))
          << row.clause << "\n"
          << explain(*parsed.node) << entry.faName << " type " << int{entry.faType} << " size "
          << entry.faLength << " accessed " << entry.faAccessed;
    }
    EXPECT_GT(admitted, 0U) << row.clause;
    EXPECT_LT(admitted, tree.size()) << row.clause;
  }
}

TEST(SelectTest, anEmptyClauseAdmitsEveryEntry) {
  const ParsedClause parsed = SelectParser().parse("");
  ASSERT_TRUE(parsed);
  EXPECT_TRUE(parsed.node->matches(Entry(), {START}));
  EXPECT_EQ(explain(*parsed.node), "every entry\n");
}

TEST(SelectTest, errorsSayWhereAndWhat) {
  const struct {
    const char* clause;
    std::size_t position;
    const char* found;
    const char* expected;  // its start
  } rows[] = {
      {"sise>1", 1, "\"sise\"", "\"!\", \"(\" or a test (size, "},
      {"size>1&", 8, "the end of the clause", "\"!\", \"(\" or a test"},
      {"size", 5, "the end of the clause", "one of < <= > >= = !="},
      {"size>x", 6, "\"x\"", "a size in bytes"},
      {"size>1KB", 7, "\"KB\"", "one of the units K M G T"},
      {"size>9223372036854775808", 6, "\"9223372036854775808\"", "a size of less than"},
      {"size>1)", 7, "\")\"", "\"&\", \"|\" or the end"},
      {"(size>1", 8, "the end of the clause", "\"&\", \"|\" or \")\""},
      {"size=1.2", 7, "\".\"", "\"..\" and the upper end"},
      {"size=2..1", 9, "\"1\"", "an upper end that is not below the lower end \"2\""},
      {"links>x", 7, "\"x\"", "a number"},
      {"links<9223372036854775808", 7, "\"9223372036854775808\"", "a number of less than 2^63"},
      {"accessed>30", 12, "the end of the clause", "one of the units s m h d w y"},
      {"accessed>292277026597y", 10, "\"292277026597y\"", "an age of fewer than"},
      {"accessed=2d..2024-01-01", 14, "\"2024-01-01\"", "an age like the lower end \"2d\""},
      {"modified>1900-02-29", 10, "\"1900-02-29\"", "a date that exists"},
      {"modified>2024-13-01", 10, "\"2024-13-01\"", "a date that exists"},
      {"modified>02024-01-01", 10, "\"02024-01-01\"", "a date that exists"},
      {"modified>2024-01-01T24:00:00", 10, "\"2024-01-01T24:00:00\"", "a date that exists"},
      {"owner<1", 6, "\"<\"", "\"=\" or \"!=\""},
      {"owner=root", 7, "\"root\"", "a name between ' and ', or an id"},
      {"owner=4294967296", 7, "\"4294967296\"", "an id of at most"},
      {"owner=''", 7, "\"''\"", "a name between the quotes"},
      {"path='/x'", 5, "\"=\"", "\"~\" or \"!~\""},
      {"name~''", 6, "\"''\"", "a pattern between the quotes"},
      {"name~'[a'", 6, "the pattern \"[a\" (Unmatched [, [^, [:, [., or [=)", "a pattern that"},
      {"type=", 6, "the end of the clause", "one or more of the letters f d l p s b"},
      {"type=fx", 6, "\"fx\"", "one or more of the letters f d l p s b"},
      {"perm=suid", 5, "\"=\"", "\":\""},
      {"perm:suid+", 11, "the end of the clause", "one of suid sgid sticky exec orphan"},
      {"name~'\xc3\xa9'&x", 10, "\"x\"", "\"!\", \"(\" or a test"},
      {"type=f\x01", 7, "\"\\x01\"", "\"&\", \"|\" or the end"},
  };
  for (const auto& row : rows) {
    const ParsedClause parsed = SelectParser().parse(row.clause);
    EXPECT_FALSE(parsed) << row.clause;
    EXPECT_EQ(parsed.error.position, row.position) << row.clause;
    EXPECT_EQ(parsed.error.found, row.found) << row.clause;
    EXPECT_EQ(parsed.error.expected.substr(0, std::string(row.expected).size()), row.expected)
        << row.clause;
  }
}

TEST(SelectTest, nestingIsLimited) {
  const std::string limit(static_cast<std::size_t>(SelectParser::MAX_NESTING), '!');
  EXPECT_TRUE(SelectParser().parse(limit + "type=f"));
  EXPECT_TRUE(SelectParser().parse(limit + "type=f&" + limit + "type=f"));
  for (const char open : {'!', '('}) {
    const ParsedClause parsed = SelectParser().parse(std::string(1000000, open) + "type=f");
    EXPECT_FALSE(parsed);
    EXPECT_EQ(parsed.error.position, 101U);
    EXPECT_EQ(parsed.error.expected, "at most 100 \"(\" and \"!\" inside one another");
    EXPECT_LT(parsed.error.found.size(), 100U);
  }
}

TEST(SelectExplainTest, showsTheTestsCheapestFirst) {
  const ParsedClause parsed = SelectParser().parse(
      "path~'/a/?/b'&(name~'*.c'|owner!='x')&modified=2024-01-01..2024-01-02&perm:suid+sgid&"
      "accessed>60d&created>=2024-01-01T10:00:00&size=1K..3000&group=7&type=fd&links!=1");
  ASSERT_TRUE(parsed);
  EXPECT_EQ(explain(*parsed.node),
            "all of:\n"
            "  it is a regular file or a directory\n"
            "  modified within the days 2024-01-01 to 2024-01-02 UTC\n"
            "  accessed more than 60 days before the scan start\n"
            "  created not before the second 2024-01-01 10:00:00 UTC\n"
            "  size is 1K (1024 bytes) to 3000 bytes\n"
            "  it has other than 1 link\n"
            "  it is set-user-id and set-group-id\n"
            "  group has the id 7\n"
            "  any of:\n"
            "    not:\n"
            "      owner is named 'x'\n"
            "    name matches '*.c'\n"
            "  path matches '/a/?/b', the regular expression ^/a/[^/]/b$\n");
}

TEST(ClauseTextTest, normalizedClausesSurviveTheDefinitionFile) {
  for (const char* typed : {"size > 1 G\t&\n type = f", "", "  ", "name~'caf\xc3\xa9\xff'",
                            "owner = 'a\tb' | perm : suid + sgid"}) {
    const NormalizedClause normalized = normalizeClause(typed);
    ASSERT_TRUE(normalized) << typed;
    CuStatDef profile;
    profile.inititializeObject({"sdWhereClause"}, {{normalized.tokens}});
    EXPECT_EQ(profile.getWhereClause(), normalized.clause) << typed;
    EXPECT_TRUE(SelectParser().parse(normalized.clause)) << normalized.clause;
  }
}

TEST(ClauseTextTest, whatTheFileCannotCarryIsAnError) {
  const struct {
    const char* typed;
    std::size_t position;
    const char* found;
    const char* expected;  // its start
  } rows[] = {
      {"size > 1, type = f", 9, "a comma", "no comma (tests are joined"},
      {"name ~ 'a,b'", 10, "a comma", "no comma between quotes (in a pattern, \"?\""},
      {"name ~ '\xc3\xa9 b'", 10, "a blank", "no blank between quotes (in a pattern, \"?\""},
      {"name ~ 'a\nb'", 10, "a line break", "no line break between quotes"},
  };
  for (const auto& row : rows) {
    const NormalizedClause normalized = normalizeClause(row.typed);
    EXPECT_FALSE(normalized) << row.typed;
    EXPECT_EQ(normalized.error.position, row.position) << row.typed;
    EXPECT_EQ(normalized.error.found, row.found) << row.typed;
    EXPECT_EQ(normalized.error.expected.substr(0, std::string(row.expected).size()), row.expected);
  }
}

// What the users' page shows as examples are clauses.
TEST(ClauseTextTest, theExamplesOfTheGuideParse) {
  std::istringstream guide(test::readFile(std::string(ORV_SOURCE_DIR) + "/docs/where-clauses.md"));
  std::size_t examples = 0;
  std::string section;
  for (std::string line; std::getline(guide, line);) {
    if (line.starts_with("## "))
      section = line;
    if (section != "## Examples" || !line.starts_with("| `"))
      continue;
    std::string typed = line.substr(3, line.find("` |") - 3);
    for (std::size_t at = 0; (at = typed.find("\\|", at)) != std::string::npos;)
      typed.erase(at, 1);  // how a table writes "|"
    const NormalizedClause normalized = normalizeClause(typed);
    EXPECT_TRUE(normalized && SelectParser().parse(normalized.clause)) << typed;
    ++examples;
  }
  EXPECT_GE(examples, 8U);
}

}  // namespace
}  // namespace orv
