#include "Scan/select/Glob.h"

#include <gtest/gtest.h>
#include <locale.h>
#include <regex.h>

#include <random>

#include "Scan/select/PathPattern.h"

namespace orv {
namespace {

TEST(GlobTest, translatesToBasicRegularExpressions) {
  const struct {
    const char* glob;
    const char* regex;
  } rows[] = {
      {"/etc/passwd", R"(^/etc/passwd$)"},
      {"*.txt", R"(^[^/]*\.txt$)"},
      {"a?c", R"(^a[^/]c$)"},
      {"$^.(){}+|", R"(^\$\^\.(){}+|$)"},
      {R"(\home\x)", R"(^/home/x$)"},
      {"a&/b", R"(^a/b$)"},
      {"&*&.&[&&&q&?", R"(^\*\.\[\\\q\?$)"},
      {"x[a-c*?.$&]y", R"(^x[a-c*?.$\]y$)"},
      {"[]a][^]b][[:alpha:]]][[.].]]", R"(^[]a][^]b][[:alpha:]]][[.].]]$)"},
      {"[a", "^[a$"},
      {"a&", R"(^a\)"},
      {"%/x", R"(^\([^/]*/\)*x$)"},
      {"/%/x", R"(^/\([^/]*/\)*x$)"},
      {"/a/%/b/%/c", R"(^/a/\([^/]*/\)*b/\([^/]*/\)*c$)"},
      {"/a/%/", R"(^/a\(/[^/]*\)*$)"},
      {R"(\%\)", R"(^\(/[^/]*\)*$)"},
      {"a&/%/b", R"(^a/\([^/]*/\)*b$)"},
      {"%", "^%$"},
      {"a%/b", "^a%/b$"},
      {"/a/%b", "^/a/%b$"},
      {"/a/%", "^/a/%$"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(globToRegex(row.glob), row.regex) << row.glob;
}

std::unique_ptr<PathPattern> compiled(std::string_view glob,
                                      PatternScope scope = PatternScope::PATH) {
  std::string error;
  auto pattern = PathPattern::compile(glob, scope, error);
  EXPECT_NE(pattern, nullptr) << glob << ": " << error;
  return pattern;
}

TEST(PathPatternTest, whatBeginsAtNoRootMatchesAtAnyDepth) {
  const struct {
    const char* glob;
    const char* text;
    bool matches;
    bool needsRegex;
  } rows[] = {
      {"/a/b", "/a/b", true, false},
      {"a/b", "/x/a/b", true, false},
      {"a/b", "/xa/b", false, false},
      {"/%/lib*", "/usr/lib64/x", false, false},
      {"a/x*x", "/a/x", false, false},
      {"tmp/%/", "/var/tmp", true, false},
      {"/a/%/", "/ab", false, false},
      {"/a/%/b?/%/c*", "/a/x/y/b1/z/c", true, true},
      {"/a/%/b?/%/c*", "/a/x/y/b/z/c", false, true},
      {"&*", "/a/*", true, false},
      {"/&{&,&}", "//", true, true},  // an escaped comma is one
  };
  for (const auto& row : rows) {
    const auto pattern = compiled(row.glob);
    EXPECT_EQ(pattern->matches(row.text), row.matches) << row.glob << " on " << row.text;
    EXPECT_EQ(pattern->usesRegex(), row.needsRegex) << row.glob;
  }
}

// Every sequence of up to `longest` of the parts.
std::vector<std::string> sequences(const std::vector<const char*>& parts, std::size_t longest) {
  std::vector<std::string> result{""};
  std::size_t from = 0;
  for (std::size_t length = 1; length <= longest; ++length)
    for (const std::size_t end = result.size(); from < end; ++from)
      for (const char* part : parts)
        result.push_back(result[from] + part);
  return result;
}

// Short texts, and names that are no valid UTF-8 or break lines.
std::vector<std::string> texts() {
  std::vector<std::string> result = sequences({"a", "b", "/"}, 4);
  for (const char* text : {"/a\xff/b", "\xc3/\x80.a", "/a\nb", "/a/b/a/b", "a/.../b/*"})
    result.emplace_back(text);
  return result;
}

// All short globs, and longer ones drawn from the same parts and rarer ones.
std::vector<std::string> globs() {
  const std::vector<const char*> parts = {"a", "b",    "/",    "*",  "?",  "%/", "&*",
                                          ".", "[ab]", "[^a]", "\\", "&(", "&)"};
  std::vector<std::string> result = sequences(parts, 3);
  std::vector<const char*> all = parts;
  all.insert(all.end(),
             {"&|", "&+", "&?", "&{1,2&}", "&{,2&}", "&w", "&S", "[]a-]", "[[:alpha:]]"});
  std::mt19937 random(4);
  for (int i = 0; i < 1500; ++i) {
    std::string glob;
    for (std::size_t length = 4 + random() % 5; length > 0; --length)
      glob += all[random() % all.size()];
    result.push_back(glob);
  }
  return result;
}

// The C library's own matcher, for bytes.
class LibraryRegex final {
 public:
  explicit LibraryRegex(const std::string& expression) {
    const locale_t previous = ::uselocale(m_bytes);
    m_isValid = ::regcomp(&m_regex, expression.c_str(), REG_NOSUB) == 0;
    ::uselocale(previous);
  }
  ~LibraryRegex() {
    if (m_isValid)
      ::regfree(&m_regex);
    ::freelocale(m_bytes);
  }
  LibraryRegex(const LibraryRegex&) = delete;
  LibraryRegex& operator=(const LibraryRegex&) = delete;

  [[nodiscard]] bool isValid() const { return m_isValid; }
  [[nodiscard]] bool matches(const std::string& text) const {
    return ::regexec(&m_regex, text.c_str(), 0, nullptr, 0) == 0;
  }

 private:
  locale_t m_bytes = ::newlocale(LC_ALL_MASK, "C", nullptr);
  regex_t m_regex{};
  bool m_isValid = false;
};

// Comparisons, literal parts looked for first, and the linear matcher give the answers of the C
// library's matcher alone.
TEST(PathPatternTest, allWaysGiveTheSameAnswers) {
  ASSERT_NE(::setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
  const std::vector<std::string> corpus = texts();
  std::size_t answers[2][2] = {};  // by way and answer
  for (const std::string& glob : globs()) {
    for (const PatternScope scope : {PatternScope::PATH, PatternScope::NAME}) {
      std::string error;
      const auto pattern = PathPattern::compile(glob, scope, error);
      if (pattern == nullptr)
        continue;
      const LibraryRegex regex(pattern->expression());
      ASSERT_TRUE(regex.isValid()) << glob;
      for (const std::string& text : corpus) {
        const bool expected = regex.matches(text);
        ASSERT_EQ(pattern->matches(text), expected) << glob << " on " << text;
        ++answers[pattern->usesRegex()][expected];
      }
    }
  }
  ::setlocale(LC_CTYPE, "C");
  for (const auto& way : answers)
    for (const std::size_t count : way)
      EXPECT_GT(count, 1000U);
}

// A wildcard stands for bytes in every locale, so no name escapes a pattern by its encoding.
TEST(PathPatternTest, bytesAreBytesInEveryLocale) {
  for (const char* locale : {"C", "C.UTF-8"}) {
    ASSERT_NE(::setlocale(LC_CTYPE, locale), nullptr);
    for (const char* glob : {"x*y", "x*[y]", "x??y", "x[^a][^a]y", "x?*y"})
      for (const char* name : {"x\xff\xfey", "x\xc3\xa9y", "x\n\ny"})
        EXPECT_TRUE(compiled(glob, PatternScope::NAME)->matches(name)) << locale << " " << glob;
  }
  ::setlocale(LC_CTYPE, "C");
}

TEST(PathPatternTest, refusesWhatCannotBeMatched) {
  std::string nested;
  for (int i = 0; i < 10; ++i)
    nested += "&{9&}";
  const struct {
    std::string glob;
    const char* reason;
  } rows[] = {
      {"", "it is empty"},
      {std::string(4097, 'a'), "it is longer than 4096 bytes"},
      {std::string("a\0b", 3), "it holds a NUL byte"},
      {"a&{256&}", "its parts are repeated more than 255 times"},
      {"a&{1,99999999999999999999&}", "its parts are repeated more than 255 times"},
      {"a" + nested, "its parts are repeated more than 255 times"},
      {"[a", "Unmatched [, [^, [:, [., or [="},
      {"a&", "Trailing backslash"},
      {"&(a", "Unmatched ( or \\("},
      {"&(a&)&1", "it refers back to a group (&1)"},
      {"&<a", "it looks for the ends of words (&<)"},
  };
  for (const auto& row : rows) {
    std::string error;
    EXPECT_EQ(PathPattern::compile(row.glob, PatternScope::PATH, error), nullptr) << row.glob;
    EXPECT_EQ(error, row.reason) << row.glob;
  }
}

// Names whose writer means harm: with a matcher that keeps every state this takes minutes.
TEST(PathPatternTest, namesDoNotDecideWhatAMatchCosts) {
  const auto pattern = compiled("*a????????????????????b*", PatternScope::NAME);
  std::mt19937 random(7);
  int matched = 0;
  for (int i = 0; i < 500; ++i) {
    std::string name(240, 'b');
    for (std::size_t at = 0; at + 1 < name.size(); ++at)
      name[at] = random() % 2 == 0 ? 'a' : 'c';
    EXPECT_EQ(pattern->matches(name), name[218] == 'a');
    matched += name[218] == 'a' ? 1 : 0;
  }
  EXPECT_TRUE(matched > 100 && matched < 400);
}

// The longest pattern of groups must not exhaust the stack of the regular-expression library.
TEST(PathPatternTest, deepestGroupsCompile) {
  std::string glob;
  for (int i = 0; i < 1000; ++i)
    glob.insert(0, "&(").append("&)");
  EXPECT_TRUE(compiled(glob, PatternScope::NAME)->matches(""));
}

}  // namespace
}  // namespace orv
