#include "Scan/definition/ScanUtil.h"

#include <gtest/gtest.h>

#include <vector>

#include "runtime/nls/MessageLog.h"

namespace orv {
namespace {

TEST(ScanUtil, emptyIsNothingOrOneBlank) {
  EXPECT_TRUE(isEmpty(""));
  EXPECT_TRUE(isEmpty(" "));
  EXPECT_FALSE(isEmpty("  "));
  EXPECT_FALSE(isEmpty("\t"));
}

TEST(ScanUtil, wordsEndAtWhiteSpace) {
  struct Row {
    const char* text;
    std::size_t start;
    const char* word;
  };
  const Row rows[] = {
      {"one two", 0, "one"}, {"one two", 3, "two"}, {" \t\none\n", 0, "one"}, {"one  ", 3, ""},
      {"", 0, ""},           {"one", 99, ""},       {"one", 1, "ne"},
  };
  for (const Row& row : rows)
    EXPECT_EQ(nextWord(row.text, row.start), row.word) << row.text << " from " << row.start;
}

TEST(ScanUtil, comparesNames) {
  EXPECT_TRUE(stringsEqual("a", "a"));
  EXPECT_FALSE(stringsEqual("a", "A"));
  EXPECT_TRUE(stringsEqualIgnoreCase("aZ", "Az"));
  EXPECT_FALSE(stringsEqualIgnoreCase("a", "ab"));
}

TEST(ScanUtil, translatesNamesFromTheCatalog) {
  EXPECT_EQ(getTranslatedName("SQL_NAME_WASTED"), "SQL_NAME_WASTED") << "no log is open";

  MessageCatalog catalog;
  ASSERT_TRUE(catalog.open(std::string(ORV_BUILT_AGENT_DIR) + "/nls", "xrmna.cat", "ORV"));
  const MessageLog log(catalog, nullptr);
  const std::string byMod = log.text(msg::STA0544T);
  const std::string byModification = log.text(msg::STA0543T);
  ASSERT_NE(byMod, "");
  ASSERT_NE(byMod, byModification);

  const std::vector<std::string> qualifiers{"GROUP", "GROUP.SUB"};
  struct Row {
    const char* name;
    std::string text;
  };
  const Row rows[] = {
      {"SQL_NAME_BYMOD", byMod},
      {"SQL_NAME_BYMODIFICATION", byModification},
      {"SQL_NAME_BYMODI", "SQL_NAME_BYMODI"},
      {"sql_name_bymod", "sql_name_bymod"},
      {"SQL_X", "SQL_X"},
      {"", ""},
      {"GROUP.SQL_NAME_BYMOD", "GROUP." + byMod},
      {"GROUP.SUB.SQL_NAME_BYMOD", "GROUP.SUB.SQL_NAME_BYMOD"},  // the first qualifier counts
      {"OTHER.SQL_NAME_BYMOD", "OTHER.SQL_NAME_BYMOD"},
      {"GROUP.my files", "GROUP.my files"},
  };
  for (const Row& row : rows)
    EXPECT_EQ(getTranslatedName(row.name, qualifiers), row.text) << row.name;
}

}  // namespace
}  // namespace orv
