#include "Scan/select/SelectParser.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <optional>
#include <string>

#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

struct Operator {
  std::string_view sign;
  Comparison comparison;
};

// A sign stands before those that are its start.
// clang-format off
constexpr Operator OPERATORS[] = {
    {"<=", Comparison::AT_MOST},
    {"<",  Comparison::LESS},
    {">=", Comparison::AT_LEAST},
    {">",  Comparison::MORE},
    {"!=", Comparison::NOT_EQUAL},
    {"=",  Comparison::EQUAL},
};

struct Letter {
  char letter;
  EntryType type;
};
constexpr Letter TYPE_LETTERS[] = {
    {'f', FT_REGULAR},
    {'d', FT_DIRECTORY},
    {'l', FT_SYMLINK},
    {'p', FT_FIFO},
    {'s', FT_SOCKET},
    {'b', FT_DEVICE},
};

struct Flag {
  std::string_view word;
  std::uint32_t flag;
};
constexpr Flag PERMISSION_FLAGS[] = {
    {"suid",   FA_SETUID},
    {"sgid",   FA_SETGID},
    {"sticky", FA_STICKY},
    {"exec",   FA_EXECUTABLE},
    {"orphan", FA_ORPHAN},
};
// clang-format on

constexpr const char* TEST_EXPECTED =
    "\"!\", \"(\" or a test (size, accessed, modified, created, links, owner, group, path, name, "
    "type, perm)";

// One parse. Every operation that gives a node gives none once the cursor has failed.
class Parse final {
 public:
  explicit Parse(std::string_view clause) : m_cursor(clause) {}

  ParsedClause run() {
    // An empty clause admits everything, as if there were none.
    ClauseNodePtr root =
        m_cursor.atEnd() ? std::make_unique<AndNode>(std::vector<ClauseNodePtr>{}) : wholeClause();
    if (m_cursor.failed())
      return {nullptr, m_cursor.error()};
    return {std::move(root), {}};
  }

 private:
  struct Test {
    std::string_view word;
    ClauseNodePtr (Parse::*rest)(const Test&);
    Figure figure = Figure::SIZE;
    OwnerNameNode::Field owner = nullptr;
    OwnerIdNode::Field ownerId = nullptr;
    PatternScope scope = PatternScope::PATH;
  };
  static const Test TESTS[];

  ClauseNodePtr wholeClause() {
    ClauseNodePtr root = alternatives();
    // A valid start is not enough: "size>1)" must not pass for "size>1".
    if (!m_cursor.atEnd())
      m_cursor.fail(m_cursor.at(), "\"&\", \"|\" or the end of the clause");
    return root;
  }

  ClauseNodePtr alternatives() { return chain<OrNode>("|", &Parse::conjunction); }
  ClauseNodePtr conjunction() { return chain<AndNode>("&", &Parse::unary); }

  // One or more parts joined by the sign; a single one stands for itself.
  template <typename Node>
  ClauseNodePtr chain(std::string_view sign, ClauseNodePtr (Parse::*part)()) {
    // Joined flat and not in pairs, so that any number of tests nests no deeper than one.
    std::vector<ClauseNodePtr> parts;
    do
      parts.push_back((this->*part)());
    while (!m_cursor.failed() && m_cursor.take(sign));
    if (m_cursor.failed())
      return nullptr;
    return parts.size() == 1 ? std::move(parts.front()) : std::make_unique<Node>(std::move(parts));
  }

  ClauseNodePtr unary() {
    const std::size_t from = m_cursor.at();
    const bool negation = m_cursor.take("!");
    if (!negation && !m_cursor.take("("))
      return test();
    // Parsing and asking go down by recursion: the text must not decide how deep the stack gets.
    if (++m_nesting > SelectParser::MAX_NESTING) {
      m_cursor.fail(from, "at most " + std::to_string(SelectParser::MAX_NESTING) +
                              " \"(\" and \"!\" inside one another");
      return nullptr;
    }
    // A "!" binds to what follows at once: "!a&b" is "(!a)&b".
    ClauseNodePtr inner = negation ? opposite(unary()) : parenthesized();
    --m_nesting;
    return inner;
  }

  ClauseNodePtr parenthesized() {
    ClauseNodePtr inner = alternatives();
    if (!m_cursor.failed() && !m_cursor.take(")"))
      m_cursor.fail(m_cursor.at(), "\"&\", \"|\" or \")\"");
    return inner;
  }

  static ClauseNodePtr opposite(ClauseNodePtr node) {
    return node == nullptr ? nullptr : std::make_unique<NotNode>(std::move(node));
  }

  ClauseNodePtr test();

  ClauseNodePtr range(const Test& test) {
    const auto read = test.figure == Figure::SIZE    ? readSize
                      : test.figure == Figure::LINKS ? readCount
                                                     : readWhen;
    const std::size_t signAt = m_cursor.at();
    for (const auto& [sign, comparison] : OPERATORS) {
      if (!m_cursor.take(sign))
        continue;
      const std::size_t from = m_cursor.at();
      auto value = read(m_cursor);
      // Numbers of links have no range: see the grammar.
      if (value && value->measure != Measure::COUNT && comparison == Comparison::EQUAL &&
          m_cursor.peek() == '.')
        value = upperEnd(*value, m_cursor.since(from), read);
      if (!value)
        return nullptr;
      return std::make_unique<RangeNode>(test.figure, value->measure, comparison, value->span);
    }
    m_cursor.fail(signAt, "one of < <= > >= = !=");
    return nullptr;
  }

  // The range from `lower` (`text` in the clause) to the value behind "..".
  std::optional<ClauseValue> upperEnd(const ClauseValue& lower, std::string_view text,
                                      std::optional<ClauseValue> (*read)(ClauseCursor&)) {
    if (!m_cursor.take("..")) {
      m_cursor.fail(m_cursor.at(), "\"..\" and the upper end of a range");
      return std::nullopt;
    }
    const std::size_t from = m_cursor.at();
    const auto upper = read(m_cursor);
    if (!upper)
      return std::nullopt;
    // An age counts back from the scan's start, a date does not: between them there is no order.
    if (upper->measure != lower.measure) {
      m_cursor.fail(from, std::string(lower.measure == Measure::AGE ? "an age" : "a date") +
                              " like the lower end " + shownInError(text));
      return std::nullopt;
    }
    if (upper->span.low < lower.span.low) {
      m_cursor.fail(from, "an upper end that is not below the lower end " + shownInError(text));
      return std::nullopt;
    }
    return ClauseValue{lower.measure, {lower.span.low, upper->span.high}};
  }

  ClauseNodePtr owner(const Test& test) {
    const auto negated = equality("=", "!=");
    if (!negated)
      return nullptr;
    const std::size_t from = m_cursor.at();
    // The quotes decide and not the text between them: somebody may be called "1000".
    if (m_cursor.peek() == '\'') {
      const auto name = quoted("a name");
      return name ? negateIf(*negated,
                             std::make_unique<OwnerNameNode>(test.owner, std::string(*name)))
                  : nullptr;
    }
    const std::string_view digits = m_cursor.takeDigits();
    if (digits.empty()) {
      m_cursor.fail(from, "a name between ' and ', or an id");
      return nullptr;
    }
    std::uint32_t id = 0;
    // Ids have 32 bits: a larger number fits nobody and is a slip.
    if (std::from_chars(digits.data(), digits.data() + digits.size(), id).ec != std::errc{}) {
      m_cursor.fail(from, "an id of at most 4294967295");
      return nullptr;
    }
    return negateIf(*negated, std::make_unique<OwnerIdNode>(test.ownerId, id));
  }

  ClauseNodePtr pattern(const Test& test) {
    const auto negated = equality("~", "!~");
    if (!negated)
      return nullptr;
    const std::size_t from = m_cursor.at();
    const auto glob = quoted("a pattern");
    if (!glob)
      return nullptr;
    std::string reason;
    auto compiled = PathPattern::compile(*glob, test.scope, reason);
    if (compiled == nullptr) {
      m_cursor.fail(from, "the pattern " + shownInError(*glob) + " (" + reason + ")",
                    "a pattern that can be matched");
      return nullptr;
    }
    return negateIf(*negated, std::make_unique<PatternNode>(test.scope, std::string(*glob),
                                                            std::move(compiled)));
  }

  ClauseNodePtr types(const Test& /*test*/) {
    const auto negated = equality("=", "!=");
    if (!negated)
      return nullptr;
    const std::size_t from = m_cursor.at();
    std::uint32_t types = 0;
    for (const char letter : m_cursor.takeLetters()) {
      // Bit 0x20 makes a small letter of a capital one.
      const auto* row = std::ranges::find(TYPE_LETTERS, letter | 0x20, &Letter::letter);
      if (row == std::end(TYPE_LETTERS)) {
        // One letter that is none makes the word mistyped, not a shorter list.
        types = 0;
        break;
      }
      types |= 1U << row->type;
    }
    if (types == 0)
      m_cursor.fail(from, "one or more of the letters f d l p s b");
    return negateIf(*negated, std::make_unique<TypeNode>(types));
  }

  ClauseNodePtr permissions(const Test& /*test*/) {
    if (!m_cursor.take(":")) {
      m_cursor.fail(m_cursor.at(), "\":\"");
      return nullptr;
    }
    // All of them must be set. Not joined by "&", which would begin another test.
    std::uint32_t flags = 0;
    do {
      const std::size_t from = m_cursor.at();
      const std::string_view word = m_cursor.takeLetters();
      const auto* row = std::ranges::find_if(
          PERMISSION_FLAGS, [&](const Flag& flag) { return equalIgnoringCase(word, flag.word); });
      if (row == std::end(PERMISSION_FLAGS)) {
        m_cursor.fail(from, "one of suid sgid sticky exec orphan");
        return nullptr;
      }
      flags |= row->flag;
    } while (m_cursor.take("+"));
    return std::make_unique<PermissionNode>(flags);
  }

  // Steps over one of two signs; whether it was the one that negates.
  std::optional<bool> equality(std::string_view plain, std::string_view negating) {
    if (m_cursor.take(plain))
      return false;
    if (m_cursor.take(negating))
      return true;
    m_cursor.fail(m_cursor.at(),
                  "\"" + std::string(plain) + "\" or \"" + std::string(negating) + "\"");
    return std::nullopt;
  }

  // The text between two quotes, which is not empty.
  std::optional<std::string_view> quoted(const std::string& what) {
    const std::size_t from = m_cursor.at();
    if (!m_cursor.take("'")) {
      m_cursor.fail(from, what + " between ' and '");
      return std::nullopt;
    }
    const std::string_view text = m_cursor.takeUpTo('\'');
    if (!m_cursor.take("'")) {
      m_cursor.fail(m_cursor.at(), "the ' that closes " + what);
      return std::nullopt;
    }
    // What is empty fits nothing: it was forgotten.
    if (text.empty()) {
      m_cursor.fail(from, what + " between the quotes");
      return std::nullopt;
    }
    return text;
  }

  static ClauseNodePtr negateIf(bool negated, ClauseNodePtr node) {
    return negated ? opposite(std::move(node)) : std::move(node);
  }

  ClauseCursor m_cursor;
  int m_nesting = 0;
};

// clang-format off
const Parse::Test Parse::TESTS[] = {
    {"size",     &Parse::range,       Figure::SIZE,     nullptr, nullptr, {}},
    {"accessed", &Parse::range,       Figure::ACCESSED, nullptr, nullptr, {}},
    {"modified", &Parse::range,       Figure::MODIFIED, nullptr, nullptr, {}},
    {"created",  &Parse::range,       Figure::CREATED,  nullptr, nullptr, {}},
    {"links",    &Parse::range,       Figure::LINKS,    nullptr, nullptr, {}},
    {"owner",    &Parse::owner,       {}, &FileAttributes::faOwner, &FileAttributes::ownerId, {}},
    {"group",    &Parse::owner,       {}, &FileAttributes::faGroup, &FileAttributes::groupId, {}},
    {"path",     &Parse::pattern,     {}, nullptr, nullptr, PatternScope::PATH},
    {"name",     &Parse::pattern,     {}, nullptr, nullptr, PatternScope::NAME},
    {"type",     &Parse::types,       {}, nullptr, nullptr, {}},
    {"perm",     &Parse::permissions, {}, nullptr, nullptr, {}},
};
// clang-format on

// Down here, because the table refers to operations that the class must have declared before.
ClauseNodePtr Parse::test() {
  const std::size_t from = m_cursor.at();
  const std::string_view word = m_cursor.takeLetters();
  for (const Test& test : TESTS)
    if (equalIgnoringCase(word, test.word))
      return (this->*test.rest)(test);
  m_cursor.fail(from, TEST_EXPECTED);
  return nullptr;
}

}  // namespace

ParsedClause SelectParser::parse(std::string_view clause) const {
  TRACE_METHOD("SelectParser::parse(...)");
  ParsedClause parsed = Parse(clause).run();
  if (!parsed)
    TRACE(TR_MAX, "where clause, position %zu: found %s, expected %s", parsed.error.position,
          parsed.error.found.c_str(), parsed.error.expected.c_str());
  return parsed;
}

}  // namespace orv
