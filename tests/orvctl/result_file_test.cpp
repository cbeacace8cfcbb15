#include "orvctl/model/ResultFile.h"

#include <gtest/gtest.h>

#include "orvctl/text/CtlError.h"
#include "sample_result.h"
#include "support/TempDir.h"

namespace orv::ctl {
namespace {

using test::fileLine;
using test::sampleResult;

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
      {"", "does not begin with [Header]"},
      {"hello\n", "does not begin with [Header]"},
      {"[Header]\n[AgentScan]\n", "it ends inside its header"},
      {"[Header]\n[/Header]\n", "it holds no [AgentScan]"},
      {whole.substr(0, whole.find("[/CuStatDef]")), "it is cut off inside [CuStatDef]"},
      {"[Header]\n[/Header]\n[AgentScan]\n[/Filesystem]\n", "[/Filesystem] inside [AgentScan]"},
      {deep, "nested too deeply"},
  };
  for (const auto& row : cases) {
    try {
      (void)ResultFile::parse(row.text, "/tmp/r\n.dat");
      ADD_FAILURE() << "accepted: " << row.why;
    } catch (const CtlError& error) {
      EXPECT_TRUE(std::string(error.what()).starts_with("cannot read result /tmp/r\\x0A.dat: "));
      EXPECT_NE(std::string(error.what()).find(row.why), std::string::npos) << error.what();
    }
  }
}

TEST(ResultFileTest, recordWithOtherColumnsThanItsHeaderIsRefused) {
  const ResultFile result = ResultFile::parse(sampleResult("\"7\",\"1\"\n"), "r.dat");
  EXPECT_THROW((void)result.records(largestFiles(result)), CtlError);
}

TEST(ResultFileTest, readsFilesAndNotWhatNeverEnds) {
  const orv::test::TempDir directory;
  orv::test::writeFile(directory.file("r.dat"), sampleResult(fileLine("/x", "", 1)));
  const ResultFile result = ResultFile::read(directory.file("r.dat"));
  EXPECT_EQ(result.records(largestFiles(result)).size(), 1U);
  for (const std::string& path :
       {directory.path(), directory.file("none"), std::string("/dev/zero")})
    EXPECT_THROW((void)ResultFile::read(path), CtlError) << path;
}

}  // namespace
}  // namespace orv::ctl
