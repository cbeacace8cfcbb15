// Where clauses and watched directories: what people type, what the job is told, what it reports.
#include "orvctl/Orvctl.h"
#include "orvctl/job/Definition.h"
#include "orvctl/job/TypedInput.h"

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
  const struct {
    std::string typed;
    std::string path;   // empty: refused
    std::string error;  // its end
  } rows[] = {
      {root + "/d", root + "/d", ""},
      {root + "/d//e/../e/", root + "/d/e", ""},
      {"d/../d", root + "/d", ""},
      {"*/e", root + "/*/e", ""},
      {root + "/link", root + "/d/e", ""},
      {root, root + "/", ""},
      {root + "/*/e", root + "/*/e", ""},
      {root + "/%/e", root + "/%/e", ""},
      {"%/e", root + "/%/e", ""},
      {root + "/gone", "", "No such file or directory"},
      {root + "/file", "", "Not a directory"},
      {root + "y", "", root + "y is not inside " + root},
      {"/*", "", "the pattern must begin with " + root + "/"},
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

RootFacts rootAt(const std::string& path, std::vector<std::string> watch = {}, int depth = 0) {
  RootFacts facts;
  facts.path = path;
  facts.watch = std::move(watch);
  facts.depth = depth;
  return facts;
}

TEST(DefinitionTest, carriesWhatIsAskedFor) {
  RootFacts noatime = rootAt("/data", {"/data/a,b", "/data/"}, 2);
  noatime.accessTimesKept = false;
  JobRequest request{.roots = {noatime, rootAt("/a,\"b\"")},
                     .rankingSize = 50,
                     .where = readWhereClause("name ~ '\"'"),
                     .ages = parseAges("1y,90d")};
  std::string text = definitionText(request);
  const std::string other = std::to_string(filesystemIdOf("/a,\"b\""));
  const std::string data = std::to_string(filesystemIdOf("/data"));
  for (const std::string& line : std::vector<std::string>{
           // The roots in the order of their numbers, in which the job locks them.
           filesystemIdOf("/data") < filesystemIdOf("/a,\"b\"")
               ? "\"/data\"\n[/Filesystem]\n[Filesystem]\n" + other
               : "\"/a,\"\"b\"\"\"\n[/Filesystem]\n[Filesystem]\n" + data,
           "[MonDirSpec]\n1,0,\"/data/*\"\n[/MonDirSpec]\n[MonDirSpec]\n2,0,\"/data/*/*\"\n",
           "3,0,\"/data/a,b\"\n[/MonDirSpec]\n[MonDirSpec]\n4,0,\"/data/\"\n",
           "1,\"orvctl\",\"entries where name ~ '\"\"'\",1,50,",
           ",\"n a m e ~ ' \"\" '\"\n[/CuStatDef]", "2,\"orvctl\",\"orvctl:subtrees\",0,0,",
           // Ages ascend; a root that keeps no access times is asked by modification.
           "\"orvctl:accessed-over 7776000\",4,", "a c c e s s e d > 1 y\"\n",
           "& m o d i f i e d > 9 0 d\"\n[ResultsByFS]\nnull," + data + "\n[/ResultsByFS]",
           "\"orvctl:files-from 2147483648\",1,0,32767,", "\"orvctl:size-over 10737418240\",1,",
           ",\"( n a m e ~ ' \"\" ' ) & t y p e ! = d & l i n k s > 1\"\n[/CuStatDef]"})
    EXPECT_TRUE(holds(text, line)) << line << "\nin\n" << text;
  request.watchedInFull = true;
  text = definitionText(request);
  EXPECT_TRUE(holds(text, "'\",3,50,") && !holds(text, "/*") && !holds(text, "subtrees")) << text;
  request.roots = {rootAt("/a\nb")};
  EXPECT_THROW((void)definitionText(request), CtlError);
  for (const char* ages : {"90", "0d", "1q", "d", "1d,2d,3d,4d,5d,6d,7d,8d,9d,10d"})
    EXPECT_NE(errorOf([&] { return parseAges(ages).size(); }), "") << ages;
}

}  // namespace
}  // namespace orv::ctl::test
