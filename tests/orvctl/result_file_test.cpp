#include "orvctl/model/ResultFile.h"

#include "orvctl/Orvctl.h"
#include "orvctl/sample_result.h"

namespace orv::ctl::test {
namespace {

const Entity& largestFiles(const ResultFile& result) {
  return *result.scan()
              .child("CuStatDef")
              ->child("ResultsByFS", "Filesystem")
              ->child("CuStatResults")
              ->child("SFile", "srLargestFiles");
}

TEST(ResultFileTest, valuesKeepTheirColumnsWhateverTheyHold) {
  // A value of 1,279 characters and more keeps its line breaks and gets a NUL byte.
  const std::string longName = "/" + std::string(1278, 'x') + '\0' + "tail\n[SFile]\nend";
  const ResultFile result = ResultFile::parse(
      sampleResult(fileLine("/a,b", "", 5) + fileLine("/say \"\"hi\"\", \"\"", "\"null\"", -6) +
                   fileLine(longName, "\"ann\"", 7)),
      "r.dat");
  const std::vector<Record> files = result.records(largestFiles(result));
  ASSERT_EQ(files.size(), 3U);
  EXPECT_EQ(files[0].text("faName"), "/a,b");
  EXPECT_EQ(files[0].text("faOwner"), "");
  EXPECT_EQ(files[0].text("faGroup"), "staff");
  EXPECT_EQ(files[0].number("faLength"), 5);
  EXPECT_EQ(files[1].text("faName"), "/say \"hi\", \"");
  EXPECT_EQ(files[1].text("faOwner"), "null");
  EXPECT_EQ(files[1].number("faLength"), -6);
  EXPECT_EQ(files[2].text("faName"), longName);
  EXPECT_EQ(files[2].number("faLength"), 7);
  EXPECT_EQ(files[2].number("faName"), 0);
  EXPECT_EQ(files[2].text("noSuchField"), "");
}

TEST(ResultFileTest, listsAndQualifiersAreRead) {
  const ResultFile result = ResultFile::parse(sampleResult(""), "r.dat");
  const Entity& results =
      *result.scan().child("CuStatDef")->child("ResultsByFS")->child("CuStatResults");
  EXPECT_EQ(results.child("STimeDist", "srModified"), nullptr);
  const std::vector<Record> backup = result.records(*results.child("STimeDist", "srBackup"));
  EXPECT_EQ(backup.at(0).number("tdType"), 3);
  const std::vector<Record> sizes = result.records(*results.child("SSizeDist"));
  EXPECT_EQ(sizes.at(0).list("szdSizes"), (std::vector<std::int64_t>{0, 0, 0, 0, 0, 0, 0, 4096}));
}

TEST(ResultFileTest, whatIsNoWholeResultIsRefusedWithItsReason) {
  const std::string whole = sampleResult("");
  std::string deep = "[Header]\n[/Header]\n[AgentScan]\n";
  for (int i = 0; i < 100000; ++i)
    deep += "[Ab]\n";
  const struct {
    std::string text;
    const char* why;
  } cases[] = {
      {"hello\n", "does not begin with [Header]"},
      {"[Header]\n[AgentScan]\n", "it ends inside its header"},
      {"[Header]\n[/Header]\n", "it holds no [AgentScan]"},
      {whole.substr(0, whole.find("[/CuStatDef]")), "it is cut off inside [CuStatDef]"},
      {"[Header]\n[/Header]\n[AgentScan]\n[/Filesystem]\n", "[/Filesystem] inside [AgentScan]"},
      {deep, "nested too deeply"},
  };
  for (const auto& row : cases) {
    const std::string error = errorOf([&] { return ResultFile::parse(row.text, "/tmp/r\n.dat"); });
    EXPECT_TRUE(error.starts_with("cannot read result /tmp/r\\x0A.dat: ")) << error;
    EXPECT_TRUE(holds(error, row.why)) << error;
  }
  // A record with other columns than its header.
  const ResultFile result = ResultFile::parse(sampleResult("\"7\",\"1\"\n"), "r.dat");
  EXPECT_THROW((void)result.records(largestFiles(result)), CtlError);
}

TEST(ResultFileTest, whatNeverEndsIsNotRead) {
  for (const char* path : {"/", "/no/such", "/dev/zero"})
    EXPECT_THROW((void)ResultFile::read(path), CtlError) << path;
}

}  // namespace
}  // namespace orv::ctl::test
