#include "Common/format/GenericPrint.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>

#include "runtime/ut/ORVException.h"
#include "support/TempDir.h"

namespace orv {
namespace {

namespace fs = std::filesystem;

class GenericPrintTest : public ::testing::Test {
 protected:
  [[nodiscard]] static bool closeThrows(GenericPrint& print) {
    try {
      print.close();
    } catch (ORVIOException* failure) {
      message = failure->message;
      delete failure;
      return true;
    }
    return false;
  }

  [[nodiscard]] std::string lineOf(const std::vector<std::string>& values) const {
    GenericPrint print(path);
    print.printDataLine(values);
    print.close();
    return test::readFile(path);
  }

  test::TempDir dir;
  const std::string path = dir.file("output/server/job.dat");
  const std::string part = path + ".part";
  static inline std::string message;
};

// `length` characters with a line break at the third place.
std::string broken(std::size_t length) {
  std::string value(length, 'x');
  value[2] = '\n';
  return value;
}

std::string with(std::string value, std::size_t index, char c) {
  value[index] = c;
  return value;
}

TEST_F(GenericPrintTest, dataLinesAreQuotedAndCleaned) {
  const struct {
    const char* what;
    std::vector<std::string> values;
    std::string line;
  } rows[] = {
      {"quote and empty value", {"17", "a\"b", ""}, R"("17","a""b",)"},
      {"nothing but quotes", {"\"\"", "x"}, R"("""""","x")"},
      {"comma", {"x,y", "z"}, R"("x,y","z")"},
      {"empty values keep their commas", {"", "a", "", "b", ""}, R"(,"a",,"b",)"},
      {"the word null", {"null"}, R"("null")"},
      {"line breaks", {"a\nb\r\nc\t\xff"}, "\"a b  c\t\xff\""},
      {"longest cleaned", {broken(1278)}, '"' + with(broken(1278), 2, ' ') + '"'},
      {"one longer ends at the NUL's place", {broken(1279)}, '"' + broken(1279) + '"'},
      {"NUL in the last place", {broken(1280)}, '"' + with(broken(1280), 1279, '\0') + '"'},
      {"NUL inside", {broken(2000)}, '"' + with(broken(2000), 1279, '\0') + '"'},
      {"length counts before quotes are doubled",
       {with(broken(1278), 0, '"')},
       "\"\"" + with(with(broken(1278), 2, ' '), 0, '"') + '"'},
  };
  for (const auto& row : rows)
    EXPECT_EQ(lineOf(row.values), row.line + "\n") << row.what;
}

TEST_F(GenericPrintTest, resultAppearsWholeAtCloseAndReplacesAnOlderOne) {
  test::writeFile(path, "older");
  GenericPrint print(path);
  print.printBegin("Ab");
  EXPECT_EQ(test::readFile(path), "older");
  EXPECT_TRUE(fs::exists(part));
  print.close();
  EXPECT_EQ(test::readFile(path), "[Ab]\n");
  EXPECT_FALSE(fs::exists(part));
  EXPECT_FALSE(closeThrows(print));
}

TEST_F(GenericPrintTest, droppedOutputLeavesTheOlderResultAlone) {
  test::writeFile(path, "older");
  {
    GenericPrint destroyed(path);
    destroyed.printBegin("Ab");
  }
  GenericPrint discarded(path);
  discarded.printBegin("Ab");
  discarded.discard();
  discarded.printEnd("Ab");
  discarded.close();
  EXPECT_EQ(test::readFile(path), "older");
  EXPECT_FALSE(fs::exists(part));
}

// A limit on the file's size stands for a full disk: a few lines fail when the output is closed,
// many while they are written; a write that works again afterwards makes up for nothing.
TEST_F(GenericPrintTest, lostLinesAreNeverDelivered) {
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
  for (const auto& [lines, endsAgain] : {std::pair(1, false), {20000, false}, {20000, true}}) {
    fs::create_directories(fs::path(path).parent_path());
    fs::create_symlink(dir.file("victim"), part);  // planted: it must not be followed
    const rlimit none{0, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &none), 0);
    GenericPrint print(path);
    for (int i = 0; i < lines; ++i)
      print.printBegin("Ab");
    if (endsAgain) {
      ::setrlimit(RLIMIT_FSIZE, &before);
      print.printBegin("Ab");
    }
    EXPECT_TRUE(closeThrows(print)) << lines;
    ::setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(message, "write " + part + ": File too large") << lines;
    EXPECT_FALSE(fs::exists(path)) << lines;
    EXPECT_FALSE(fs::exists(fs::symlink_status(part))) << lines;
    EXPECT_FALSE(fs::exists(dir.file("victim"))) << lines;
  }
}

TEST_F(GenericPrintTest, placesThatCannotBeHad) {
  // Without a name, or below a file, nothing is written.
  test::writeFile(dir.file("plain"), "kept");
  for (const std::string& unusable : {std::string(), dir.file("plain/job.dat")}) {
    GenericPrint print(unusable);
    EXPECT_FALSE(print.isOpen()) << unusable;
    print.printBegin("Ab");
    EXPECT_FALSE(closeThrows(print)) << unusable;
  }
  EXPECT_EQ(test::readFile(dir.file("plain")), "kept");
  // A result that cannot be moved into place is reported and removed.
  test::writeFile(path + "/in the way", "");
  GenericPrint print(path);
  print.printBegin("Ab");
  EXPECT_TRUE(closeThrows(print));
  EXPECT_NE(message.find("rename " + part + " to " + path + ": "), std::string::npos) << message;
  EXPECT_FALSE(fs::exists(part));
  fs::create_directories(part);
  try {
    const GenericPrint none(path);
    ADD_FAILURE() << "a directory is in the way";
  } catch (ORVIOException* failure) {
    delete failure;
  }
}

}  // namespace
}  // namespace orv
