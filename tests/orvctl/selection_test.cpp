// Where clauses and watched directories: what people type, what the job is told, what it reports.
#include "orvctl/Orvctl.h"
#include "orvctl/job/LocalJob.h"
#include "orvctl/job/WatchPath.h"
#include "orvctl/job/WhereClause.h"

namespace orv::ctl::test {
namespace {

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
      {"type\n= f,", "found a comma", "\n  type = f,\n          ^"},
      // Wide and escaped characters take the columns that they are shown in.
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

}  // namespace
}  // namespace orv::ctl::test
