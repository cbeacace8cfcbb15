#include "runtime/ut/Trace.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "support/TempDir.h"

namespace orv {
namespace {

using test::readFile;
using test::TempDir;

TEST(Trace, argumentsOfASwitchedOffPointAreNotEvaluated) {
  trace::close();
  int evaluated = 0;
  TRACE(TR_MAX, "%d", ++evaluated);
  EXPECT_EQ(evaluated, 0);
}

TEST(Trace, oneLinePerCallWithPidAndSource) {
  const TempDir dir;
  ASSERT_TRUE(trace::open(dir.file("t"), "MAX", 100, true));
  {
    TRACE_METHOD("walk(...)");
    TRACE(TR_MAX, "name %s\n", "a\nb\x1b");
  }
  trace::close();
  const std::string text = readFile(dir.file("t"));
  EXPECT_NE(text.find("Enter: walk(...)"), std::string::npos);
  EXPECT_NE(text.find("Exit: walk(...)"), std::string::npos);
  EXPECT_NE(text.find("name a\\x0Ab\\x1B\n"), std::string::npos);
  EXPECT_NE(text.find(" " + std::to_string(::getpid()) + " "), std::string::npos);
  EXPECT_NE(text.find("tests/runtime/trace_test.cpp:"), std::string::npos);
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 3);
}

TEST(Trace, staysBelowItsLimitAndKeepsTheNewestLines) {
  const TempDir dir;
  ASSERT_TRUE(trace::open(dir.file("t"), "MID", 4, true));
  for (int i = 0; i < 1000; ++i)
    TRACE(TR_GENERAL, "line %d.", i);
  trace::close();
  const std::string text = readFile(dir.file("t"));
  EXPECT_LE(text.size(), 4096U);
  EXPECT_NE(text.find("line 999."), std::string::npos);
  EXPECT_NE(text.find("line 990."), std::string::npos);
  EXPECT_EQ(text.find("line 10."), std::string::npos);
}

}  // namespace
}  // namespace orv
