#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Scan/select/BasicRegex.h"

namespace orv {

// What a pattern is laid against. One for whole paths that begins with neither "/" nor "%/" matches
// at any depth: it stands for the same pattern behind "%/".
enum class PatternScope { PATH, NAME };

// A glob ready for matching. Shapes that plain comparisons decide (a literal path or name, a
// prefix, a suffix, each also behind one "%/" or before a closing one) need no regular expression;
// of what needs one, the literal parts are looked for first. Both ways give the same answers. Owned
// by the node of the where clause that asks it; matching is const and allocates nothing of its own.
class PathPattern final {
 public:
  // Longest pattern, in bytes, and how often its "&{n&}" may repeat its parts in all. They keep the
  // compiled expression small; no path is longer.
  static constexpr std::size_t MAX_LENGTH = 4096;
  static constexpr unsigned long MAX_REPEATS = 255;

  // Null when the glob cannot be used; `error` then holds the reason.
  [[nodiscard]] static std::unique_ptr<PathPattern> compile(std::string_view glob,
                                                            PatternScope scope, std::string& error);

  // Whether the whole of `text` matches.
  [[nodiscard]] bool matches(std::string_view text) const;

  // Whether a regular expression has the last word.
  [[nodiscard]] bool usesRegex() const noexcept { return m_regex != nullptr; }
  // The regular expression that the pattern stands for.
  [[nodiscard]] const std::string& expression() const noexcept { return m_expression; }

  // A pattern that plain comparisons decide: the anchor, any number of directories (`anyDepth`),
  // the head, and then "*" and the tail (`star`) or everything below the head (`subtree`).
  struct Shape {
    std::string anchor;  // empty, or ends with "/"
    bool anyDepth = false;
    std::string head;
    bool star = false;
    std::string tail;
    bool subtree = false;
  };
  // What any match of a pattern has: a number of bytes, and literal parts at its start, in this
  // order between, at its end. A text without it never reaches the regular expression.
  struct Literals {
    std::size_t shortest = 0;
    std::string prefix;
    std::vector<std::string> infixes;
    std::string suffix;
  };

 private:
  PathPattern() = default;

  std::string m_expression;
  std::optional<Shape> m_shape;  // set when m_regex is not
  Literals m_literals;
  std::unique_ptr<BasicRegex> m_regex;
};

}  // namespace orv
