#include <gtest/gtest.h>

#include "support/CapturedMessages.h"

namespace orv {
namespace {

TEST(MessageLog, insertsAreCutEscapedAndNeverFormats) {
  const test::CapturedMessages log;
  issueMessage(msg::STA0025I, {"a{}%s\nFORGED\x7f"});
  issueMessage(msg::STA0025I, {""});
  issueMessage(msg::STA0025I, {std::string(5000, 'x')});
  issueMessage(msg::STA0532I, {Insert::lines("\n  one\n  two")});
  // Without a text in the catalog, or without all inserts of it, what is known is said.
  issueMessage({9999, "STA9999E"}, {"/a", "b"});
  issueMessage(msg::STA0063E, {"/only one"});
  EXPECT_EQ(log.lines, (std::vector<std::string>{
                           "STA0025I Scanning filesystem a{}%s\\x0AFORGED\\x7F.",
                           "STA0025I Scanning filesystem <NULL>.",
                           "STA0025I Scanning filesystem " + std::string(4604, 'x') + ".",
                           "STA0532I Filesystems of this job:\n  one\n  two", "STA9999E /a b",
                           "STA0063E /only one"}));
}

}  // namespace
}  // namespace orv
