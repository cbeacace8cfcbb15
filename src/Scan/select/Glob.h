#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace orv {

// Globs over the bytes of a path:
//
// clang-format off
//   *   any number of bytes but "/"        %/   as a component: any number of directories
//   ?   one byte but "/"                   [x]  a bracket expression, as regular expressions have it
//   \   a "/"                              &    takes the special meaning from the next character
// clang-format on
//
// A "%/" that ends the pattern stands for everything below, and takes the "/" before it along:
// "/a/%/" matches "/a", "/a/b" and "/a/b/c", and "/%/" every path.

// A part of a glob: what it does, its text in the regular expression and, for literal text, the
// bytes that it stands for.
struct GlobPiece {
  enum class Kind {
    LITERAL,
    STAR,
    ONE_BYTE,     // "?" or a bracket expression
    DIRECTORIES,  // "%/"
    SUBTREE,      // "%/" at the end; always the last piece
    VERBATIM      // an escape that means something to regular expressions, or nothing to us
  };
  Kind kind;
  std::string regex;
  std::string literal;
};

// The pieces of a glob from left to right; neighbouring literal bytes make one piece. Nothing is
// checked: an unterminated bracket or an "&" with nothing behind it is passed on as it is.
[[nodiscard]] std::vector<GlobPiece> globPieces(std::string_view glob);

// The length of the bracket expression at the start of `text`; the whole of it when it does not
// end.
[[nodiscard]] std::size_t bracketLength(std::string_view text);

// The POSIX basic regular expression of those pieces. That of an unterminated bracket or of an "&"
// with nothing behind it does not compile.
[[nodiscard]] std::string regexOf(const std::vector<GlobPiece>& pieces);

// The same, straight from the glob.
[[nodiscard]] std::string globToRegex(std::string_view glob);

}  // namespace orv
