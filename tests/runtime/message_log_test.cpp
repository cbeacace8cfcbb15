#include "runtime/nls/MessageLog.h"

#include <gtest/gtest.h>

#include <map>
#include <regex>

#include "support/TempDir.h"

namespace orv {
namespace {

// Keeps the lines that the log writes.
class Lines final : public ActivityLogWriter {
 public:
  explicit Lines(std::vector<std::string>& lines) : m_lines(lines) {}
  int LogActivityLog(std::string_view message) override {
    m_lines.emplace_back(message);
    return 0;
  }

 private:
  std::vector<std::string>& m_lines;
};

class MessageLogTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(catalog.open(std::string(ORV_BUILT_AGENT_DIR) + "/nls", "xrmna.cat", "ORV"));
    log = std::make_unique<MessageLog>(catalog, std::make_unique<Lines>(lines));
  }
  MessageCatalog catalog;
  std::vector<std::string> lines;
  std::unique_ptr<MessageLog> log;
};

TEST_F(MessageLogTest, insertsAreCutEscapedAndNeverFormats) {
  issueMessage(msg::STA0025I, {"a{}%s\nFORGED\x7f"});
  issueMessage(msg::STA0025I, {""});
  issueMessage(msg::STA0025I, {std::string(5000, 'x')});
  issueMessage(msg::STA0532I, {Insert::lines("\n  one\n  two")});
  ASSERT_EQ(lines.size(), 4U);
  EXPECT_EQ(lines[0], "STA0025I Scanning filesystem a{}%s\\x0AFORGED\\x7F.");
  EXPECT_EQ(lines[1], "STA0025I Scanning filesystem <NULL>.");
  EXPECT_EQ(lines[2], "STA0025I Scanning filesystem " + std::string(4604, 'x') + ".");
  EXPECT_EQ(lines[3], "STA0532I Filesystems of this job:\n  one\n  two");
}

TEST_F(MessageLogTest, missingTextOrInsertsStillSayWhatIsKnown) {
  EXPECT_EQ(log->format({9999, "STA9999E"}, {"/a", "b"}), "STA9999E /a b");
  EXPECT_EQ(log->format(msg::STA0063E, {"/only one"}), "STA0063E /only one");
}

TEST_F(MessageLogTest, nothingIsIssuedWithoutALog) {
  log.reset();
  issueMessage(msg::STA0025I, {"/"});
  EXPECT_TRUE(lines.empty());
}

// Every message that the code names has a text under its number, with cause and remedy, and the
// catalog names no message that the code lacks.
TEST_F(MessageLogTest, catalogAndCodeNameTheSameMessages) {
  const std::string header =
      test::readFile(std::string(ORV_SOURCE_DIR) + "/src/runtime/nls/Messages.h");
  const std::string source = test::readFile(std::string(ORV_SOURCE_DIR) + "/nls/xrmna.msg");
  const auto pairs = [](const std::string& text, const std::regex& pattern, int number, int id) {
    std::map<int, std::string> result;
    for (std::sregex_iterator it(text.begin(), text.end(), pattern), end; it != end; ++it)
      result[std::stoi((*it)[static_cast<std::size_t>(number)])] =
          (*it)[static_cast<std::size_t>(id)];
    return result;
  };
  const auto inCode = pairs(header, std::regex(R"re(\{(\d+),\s+"(\w{8})"\})re"), 1, 2);
  const auto inCatalog = pairs(
      source,
      std::regex(R"re(\$ @id (\w{8})\n\$ @cause [^\n]+\n\$ @remedy [^\n]+\n(\d+) "[^"\n]+"\n)re"),
      2, 1);
  EXPECT_GT(inCode.size(), 40U);
  EXPECT_EQ(inCode, inCatalog);
  for (const auto& [number, id] : inCode)
    EXPECT_FALSE(log->text({number, id.c_str()}).empty()) << id;
}

}  // namespace
}  // namespace orv
