// Where clauses and watched directories: what people type, what the job is told, what it reports.
#include <gtest/gtest.h>

#include <filesystem>

#include "orvctl/job/LocalJob.h"
#include "orvctl/job/WatchPath.h"
#include "orvctl/job/WhereClause.h"
#include "orvctl/text/CtlError.h"
#include "support/Process.h"
#include "support/TempDir.h"

namespace orv::ctl {
namespace {

using orv::test::readFile;
using orv::test::TempDir;
using orv::test::writeFile;

// What `call` threw, or nothing.
template <typename Call>
std::string errorOf(const Call& call) {
  try {
    (void)call();
    return {};
  } catch (const CtlError& error) {
    return error.what();
  }
}

TEST(WhereClauseTest, blanksAreForReadersOnly) {
  const WhereClause clause = readWhereClause(" type = f\n\t& name ~ '*.\"x' ");
  EXPECT_EQ(clause.tokens, "t y p e = f & n a m e ~ ' * . \" x '");
  EXPECT_EQ(clause.text, " type = f  & name ~ '*.\"x' ");
  EXPECT_TRUE(clause.explanation.starts_with("all of:\n  it is a regular file\n"));
  EXPECT_EQ(readWhereClause(" ").tokens, "");
}

TEST(WhereClauseTest, errorsPointIntoTheTypedText) {
  const struct {
    const char* typed;
    const char* what;
    const char* shown;  // the clause and the caret
  } rows[] = {
      {"size > 1Q & type = f", "found \"Q\"", "\n  size > 1Q & type = f\n          ^"},
      {"size >", "found the end of the clause", "\n  size >\n        ^"},
      {"name ~ 'a b'", "found a blank", "\n  name ~ 'a b'\n           ^"},
      {"type\n= f,", "found a comma", "\n  type = f,\n          ^"},
      // Wide and escaped characters take the columns that they are shown in.
      {"name = 'x'", "found \"=\"", "\n  name = 'x'\n       ^"},
      {"path ~ '\xe6\x97\xa5\xc3\xa9' x", "found \"x\"",
       "\n  path ~ '\xe6\x97\xa5\xc3\xa9' x\n               ^"},
      {"path ~ '\x1b' x", "found \"x\"", "\n  path ~ '\\x1B' x\n                ^"},
  };
  for (const auto& row : rows) {
    const std::string error = errorOf([&] { return readWhereClause(row.typed); });
    EXPECT_TRUE(error.starts_with("cannot use the where clause: ")) << error;
    EXPECT_NE(error.find(row.what), std::string::npos) << error;
    EXPECT_TRUE(error.ends_with(row.shown)) << error;
  }
}

TEST(WatchPathTest, directoriesAndPatternsInsideTheRootAreTaken) {
  const TempDir area;
  const std::string root = area.file("root");
  std::filesystem::create_directories(root + "/d/e");
  std::filesystem::create_directories(root + "y");
  std::filesystem::create_directory(root + "/[x]");
  writeFile(root + "/file", "");
  std::filesystem::create_directory_symlink("d/e", root + "/link");
  const std::string below = std::filesystem::relative(root + "/d");
  const struct {
    std::string typed;
    std::string path;   // empty: refused
    std::string error;  // its end
  } rows[] = {
      {root + "/d", root + "/d", ""},
      {root + "/d//e/../e/", root + "/d/e", ""},
      {below, root + "/d", ""},
      {root + "/link", root + "/d/e", ""},
      {root, root + "/", ""},
      {root + "/*/e", root + "/*/e", ""},
      {root + "/%/e", root + "/%/e", ""},
      {root + "/gone", "", "No such file or directory"},
      {root + "/file", "", "Not a directory"},
      {root + "y", "", root + "y is not inside " + root},
      {"/*", "", "the pattern must begin with " + root + "/"},
      {"*", "", "the pattern must begin with " + root + "/"},
      {root + "/[", "", "Unmatched [, [^, [:, [., or [="},
      {root + "/[x]", "", "cannot be named literally in a scan definition"},
  };
  for (const auto& row : rows) {
    std::string path;
    const std::string error = errorOf([&] { return path = watchPath(row.typed, root); });
    EXPECT_EQ(path, row.path) << row.typed;
    EXPECT_EQ(error.empty(), !row.path.empty()) << row.typed << " " << error;
    EXPECT_TRUE(error.ends_with(row.error)) << error;
  }
  EXPECT_EQ(watchPath("/", "/"), "/");
  EXPECT_EQ(watchPath(root, "/"), root);
  EXPECT_NE(errorOf([] { return watchPath("/proc", "/"); }).find("another filesystem"),
            std::string::npos);
}

TEST(LocalJobTest, definitionCarriesTheClauseAndTheDirectories) {
  const std::string plain = definitionText({"/data", 50});
  EXPECT_EQ(plain.find("\"/data/"), std::string::npos);
  const std::string text =
      definitionText({"/data", 50, readWhereClause("name ~ '\"'"), {"/data/a,b", "/data/"}});
  for (const char* line :
       {"[MonDirSpec]\n1,0,\"/data/a,b\"\n[/MonDirSpec]\n[MonDirSpec]\n2,0,\"/data/\"\n",
        ",\"entries where name ~ '\"\"'\",3,", ",\"n a m e ~ ' \"\" '\"\n[/CuStatDef]"})
    EXPECT_NE(text.find(line), std::string::npos) << line << "\nin\n" << text;
}

class SelectionCommandTest : public ::testing::Test {
 protected:
  // Runs orvctl to its end; what it wrote is in `text`.
  int run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), std::string(ORV_BUILT_AGENT_DIR) + "/bin/orvctl");
    const std::map<std::string, std::string> environment = {{"COLUMNS", "200"}};
    const int code = orv::test::Process(arguments, environment, area.file("out")).wait();
    text = readFile(area.file("out"));
    return code;
  }
  // Where the output holds that text; it must.
  std::size_t at(const std::string& expected) const {
    const std::size_t found = text.find(expected);
    EXPECT_NE(found, std::string::npos) << expected << "\nin\n" << text;
    return found;
  }

  TempDir area;
  std::string agent = area.file("agent");
  std::string text;
};

TEST_F(SelectionCommandTest, scanCountsWhatTheClauseAdmitsAndReportsWatchedDirectories) {
  const std::string root = area.file("root");
  writeFile(root + "/top", std::string(5000, 'x'));
  writeFile(root + "/a/small", "x");
  writeFile(root + "/a/log/first", std::string(6000, 'x'));
  writeFile(root + "/b/log/second", std::string(7000, 'x'));
  writeFile(root + "/b/log/third", std::string(4000, 'x'));
  ASSERT_EQ(run({"scan", root, "--agent", agent, "--where", "type = f & size >= 4000", "--watch",
                 root + "/a", root + "/*/log", root + "/x*"}),
            0)
      << text;
  at("  Profile     entries where type = f & size >= 4000\n  Scanned ");
  at("  Files       4");
  // The largest first; what fitted nothing is named.
  const std::size_t table = at("Watched directories (profile: entries where ");
  EXPECT_LT(table, at("  10.7 KiB      2     0  " + root + "/b/log\n"));
  at("   5.9 KiB      1     0  " + root + "/a\n");
  at("   5.9 KiB      1     0  " + root + "/a/log\n");
  at("  no directory was met for " + root + "/x*\n");
  const std::size_t largest = at("\nWatched directory " + root +
                                 "/b/log\n  2 files, 0 directories, 10.7 KiB (11,000 bytes)\n");
  EXPECT_LT(largest, at("\nWatched directory " + root + "/a/log\n"));

  const std::string scanned = text.substr(table);
  ASSERT_EQ(run({"report", agent + "/output/local/orvctl.00000001_scan.0001.dat"}), 0);
  EXPECT_EQ(text.substr(at("Watched directories")), scanned);
}

TEST_F(SelectionCommandTest, nothingRunsForAClauseOrDirectoryThatCannotBeUsed) {
  EXPECT_EQ(run({"scan", area.path(), "--agent", agent, "--where", "size > 1Q"}), 2);
  EXPECT_EQ(text.substr(at("\n")), "\n  size > 1Q\n          ^\n");
  EXPECT_EQ(run({"scan", area.path(), "--agent", agent, "--watch", "/etc"}), 1);
  EXPECT_TRUE(text.starts_with("orvctl: cannot watch /etc: /etc is not inside ")) << text;
  EXPECT_FALSE(std::filesystem::exists(agent));
}

TEST_F(SelectionCommandTest, checkWhereExplainsOrPoints) {
  EXPECT_EQ(run({"check-where", "size > 1G"}), 0);
  EXPECT_EQ(text, "size is more than 1G (1073741824 bytes)\n");
  EXPECT_EQ(run({"check-where", "!type = x"}), 2);
  EXPECT_TRUE(text.starts_with("orvctl: cannot use the where clause: found \"x\"")) << text;
  EXPECT_TRUE(text.ends_with("\n  !type = x\n          ^\n")) << text;
}

}  // namespace
}  // namespace orv::ctl
