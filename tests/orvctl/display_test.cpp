#include <gtest/gtest.h>
#include <stdlib.h>

#include "orvctl/text/DisplayText.h"
#include "orvctl/text/TextTable.h"
#include "orvctl/text/Units.h"
#include "orvctl/text/Utf8.h"

namespace orv::ctl {
namespace {

TEST(DisplayTextTest, onlyWhatIsSafeIsPrintedAsItIs) {
  const struct {
    std::string bytes;
    std::string shown;
    int width;
  } cases[] = {
      {"plain name", "plain name", 10},
      {"gr\xc3\xbc\xc3\x9f", "gr\xc3\xbc\xc3\x9f", 4},
      {"\xe6\x97\xa5\xe6\x9c\xac", "\xe6\x97\xa5\xe6\x9c\xac", 4},  // wide characters
      {"e\xcc\x81", "e\xcc\x81", 1},                                // combining accent
      {"a\x1b[31m\n\t\x7f", "a\\x1B[31m\\x0A\\x09\\x7F", 21},
      {"\xff\xc3", "\\xFF\\xC3", 8},            // no UTF-8, cut off UTF-8
      {"\xe2\x80\xae", "\\xE2\\x80\\xAE", 12},  // turns the writing direction
      {std::string("a\0b", 3), "a\\x00b", 6},
  };
  for (const auto& row : cases) {
    EXPECT_EQ(printable(row.bytes), row.shown);
    EXPECT_EQ(displayWidth(printable(row.bytes)), row.width) << row.shown;
  }
}

TEST(DisplayTextTest, shorteningKeepsBothEndsAndTheWidth) {
  EXPECT_EQ(shortened("/usr/share/doc", 14, "..."), "/usr/share/doc");
  EXPECT_EQ(shortened("/usr/share/doc", 10, "..."), "/u...e/doc");  // 2 in front, 5 behind
  EXPECT_EQ(shortened("abcdef", 2, "..."), "..");
  EXPECT_EQ(shortened("abcdef", 0, "..."), "");
  const std::string wide =
      "/\xe6\x97\xa5\xe6\x9c\xac\xe8\xaa\x9e\xe6\x97\xa5\xe6\x9c\xac/ab";  // 14
  for (int width = 4; width < 14; ++width) {
    const std::string cut = shortened(wide, width, "...");
    // A wide character that does not fit leaves a column free on either side.
    EXPECT_LE(displayWidth(cut), width) << cut;
    EXPECT_GE(displayWidth(cut), width - 2) << cut;
    EXPECT_EQ(printable(cut), cut) << "a character was cut in two";
  }
}

TEST(UnitsTest, figuresReadWell) {
  EXPECT_EQ(sizeText(0), "0 B");
  EXPECT_EQ(sizeText(1023), "1023 B");
  EXPECT_EQ(sizeText(1024), "1.0 KiB");
  EXPECT_EQ(sizeText(1048575), "1.0 MiB");  // not 1024.0 KiB
  EXPECT_EQ(sizeText(5LL << 30), "5.0 GiB");
  EXPECT_EQ(sizeText(INT64_MAX), "8.0 EiB");
  EXPECT_EQ(countText(0), "0");
  EXPECT_EQ(countText(999), "999");
  EXPECT_EQ(countText(1000), "1,000");
  EXPECT_EQ(countText(-123456), "-123,456");
  EXPECT_EQ(countText(1234567), "1,234,567");
  EXPECT_EQ(shareText(1, 8), "12.5%");
  EXPECT_EQ(shareText(0, 0), "-");
  EXPECT_EQ(ageText(59), "59 seconds");
  EXPECT_EQ(ageText(5400), "1.5 hours");
  EXPECT_EQ(ageText(-172800), "-2.0 days");
  EXPECT_EQ(ageText(63115200), "2.0 years");
  EXPECT_EQ(elapsedText(0.44), "0.4 s");
  EXPECT_EQ(elapsedText(200), "3 min 20 s");
  EXPECT_EQ(elapsedText(7500), "2 h 5 min");
  ::setenv("TZ", "UTC", 1);
  EXPECT_EQ(timeText(1704067259999), "2024-01-01 00:00");
  EXPECT_EQ(timeText(-1), "1969-12-31 23:59");
  EXPECT_EQ(dateText(1704067200000), "2024-01-01");
  EXPECT_EQ(timeText(INT64_MAX), "9223372036854775 s");
}

// The column at which `text` begins in a line, in terminal columns.
int columnOf(const std::string& line, const std::string& text) {
  const std::size_t at = line.find(text);
  return at == std::string::npos ? -1 : displayWidth(line.substr(0, at));
}

TEST(TextTableTest, columnsLineUpAndPathsStayWhole) {
  using Kind = TextTable::Kind;
  const std::string longPath = "/" + std::string(300, 'p') + "/END";
  TextTable table({{"size", Kind::FIGURE}, {"owner", Kind::TEXT}, {"path", Kind::PATH}});
  table.addRow({"1.0 KiB", "root", longPath});
  table.addRow({"900 B", "\xe6\x97\xa5\xe6\x9c\xac", "/\xe6\x97\xa5/END"});
  table.addRow({"1023.9 MiB", "a-very-long-owner-name-beyond-18", "/short/END"});
  const std::string text = table.render({.width = 80, .unicode = true});
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);)
    // Indent 2, size 10, gap 2, owner 18, gap 2.
    EXPECT_EQ(columnOf(line, line.ends_with("END") ? "/" : "path"), 34) << line;
  EXPECT_NE(text.find(longPath + "\n"), std::string::npos);
}

TEST(PathTextTest, canBeCopiedFromWhereItIsPrinted) {
  const struct {
    const char* bytes;
    const char* onTerminal;
    const char* elsewhere;
    const char* inLatin1;  // on a terminal whose charset is not known
  } rows[] = {
      {"/plain/a-b_c.d", "/plain/a-b_c.d", "/plain/a-b_c.d", "/plain/a-b_c.d"},
      {"/a b", "'/a b'", "/a b", "'/a b'"},
      {"/a'b$", "'/a'\\''b$'", "/a'b$", "'/a'\\''b$'"},
      {"/gr\xc3\xbc", "/gr\xc3\xbc", "/gr\xc3\xbc", "$'/gr\\xC3\\xBC'"},
      {"/l\nf'", "$'/l\\x0Af\\''", "/l\\x0Af'", "$'/l\\x0Af\\''"},
      {"/\xff\\x41\\", "$'/\\xFF\\x5Cx41\\\\'", "/\\xFF\\x5Cx41\\", "$'/\\xFF\\x5Cx41\\\\'"},
      {"/\xc2\x9b", "$'/\\xC2\\x9B'", "/\\xC2\\x9B", "$'/\\xC2\\x9B'"},
  };
  for (const auto& row : rows) {
    const std::string text = utf8Text(row.bytes);
    EXPECT_EQ(pathText(text, {.terminal = true, .unicode = true}), row.onTerminal);
    EXPECT_EQ(pathText(text, {.terminal = false, .unicode = true}), row.elsewhere);
    EXPECT_EQ(pathText(text, {.terminal = true, .unicode = false}), row.inLatin1);
  }
}

TEST(TextTableTest, barsAreAsLongAsTheirFraction) {
  TextTable table({{"n", TextTable::Kind::FIGURE}, {"", TextTable::Kind::BAR}});
  for (const double fraction : {0.0, 0.001, 0.5, 1.0})
    table.addRow({"1", ""}, fraction);
  // 80 columns leave room for the longest bar, 40.
  EXPECT_EQ(table.render({}), "  n\n  1\n  1  #\n  1  " + std::string(20, '#') + "\n  1  " +
                                  std::string(40, '#') + "\n");
  const std::string coloured = table.render({.width = 80, .colour = true, .unicode = false});
  EXPECT_NE(coloured.find("\x1b[36m#\x1b[0m\n"), std::string::npos);
}

}  // namespace
}  // namespace orv::ctl
