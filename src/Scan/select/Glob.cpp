#include "Scan/select/Glob.h"

#include <algorithm>

namespace orv {
namespace {

using Kind = GlobPiece::Kind;

// Characters that a regular expression takes literally when they are escaped; escaping any other
// one may make an operator of it.
constexpr std::string_view ESCAPED_LITERALS = R"(.*[]^$\)";
// Characters that are literal in a glob but not in a regular expression.
constexpr std::string_view TO_ESCAPE = ".$^";

// Cuts a glob into pieces.
class GlobReader final {
 public:
  explicit GlobReader(std::string_view glob) : m_glob(glob) {
    // Definitions write a path's separator either way, so the sign that escapes is "&".
    std::replace(m_glob.begin(), m_glob.end(), '\\', '/');
    std::replace(m_glob.begin(), m_glob.end(), '&', '\\');
  }

  std::vector<GlobPiece> read() {
    while (m_at < m_glob.size())
      readPiece();
    return std::move(m_pieces);
  }

 private:
  void readPiece() {
    const char c = m_glob[m_at];
    // Only as a whole component: "%" in a name is a letter like others.
    if (c == '%' && atComponentStart() && m_glob.substr(m_at, 2) == "%/")
      return readDirectories();
    if (c == '[')
      return readBracket();
    if (c == '\\')
      return readEscape();
    ++m_at;
    if (c == '*')
      m_pieces.push_back({Kind::STAR, "[^/]*", {}});
    else if (c == '?')
      m_pieces.push_back({Kind::ONE_BYTE, "[^/]", {}});
    else
      addLiteral(c, TO_ESCAPE.find(c) == std::string_view::npos ? "" : "\\");
  }

  void readDirectories() {
    m_at += 2;
    if (m_at < m_glob.size()) {
      m_pieces.push_back({Kind::DIRECTORIES, R"(\([^/]*/\)*)", {}});
      return;
    }
    // Each step down brings its own "/", so the one in front would have to be there twice.
    if (!m_pieces.empty() && m_pieces.back().kind == Kind::LITERAL) {
      m_pieces.back().regex.pop_back();
      m_pieces.back().literal.pop_back();
    }
    m_pieces.push_back({Kind::SUBTREE, R"(\(/[^/]*\)*)", {}});
  }

  void readBracket() {
    const std::size_t length = bracketLength(std::string_view(m_glob).substr(m_at));
    m_pieces.push_back({Kind::ONE_BYTE, m_glob.substr(m_at, length), {}});
    m_at += length;
  }

  void readEscape() {
    // One byte only where the sign is the last of the glob.
    const std::string escape = m_glob.substr(m_at, 2);
    m_at += escape.size();
    if (escape == "\\/")
      addLiteral('/', "");
    else if (escape.size() == 2 && ESCAPED_LITERALS.find(escape[1]) != std::string_view::npos)
      addLiteral(escape[1], "\\");
    else
      // An operator of expressions, written on purpose: what it does to its neighbours is not known
      // here.
      m_pieces.push_back({Kind::VERBATIM, escape, {}});
  }

  void addLiteral(char c, const char* escape) {
    // Neighbours become one piece: comparisons take it whole, and shapes count pieces.
    if (m_pieces.empty() || m_pieces.back().kind != Kind::LITERAL)
      m_pieces.push_back({Kind::LITERAL, {}, {}});
    m_pieces.back().regex.append(escape).push_back(c);
    m_pieces.back().literal.push_back(c);
  }

  [[nodiscard]] bool atComponentStart() const {
    if (m_pieces.empty())
      return true;
    const GlobPiece& last = m_pieces.back();
    return last.kind == Kind::DIRECTORIES ||
           (last.kind == Kind::LITERAL && last.literal.back() == '/');
  }

  std::string m_glob;
  std::size_t m_at = 0;
  std::vector<GlobPiece> m_pieces;
};

}  // namespace

std::size_t bracketLength(std::string_view text) {
  std::size_t at = 1;
  if (at < text.size() && text[at] == '^')
    ++at;
  if (at < text.size() && text[at] == ']')  // in first place a "]" is a member
    ++at;
  while (at < text.size() && text[at] != ']') {
    const bool named = text[at] == '[' && at + 1 < text.size() &&
                       std::string_view(":.=").find(text[at + 1]) != std::string_view::npos;
    if (!named) {
      ++at;
      continue;
    }
    const char close[] = {text[at + 1], ']', '\0'};
    const std::size_t end = text.find(close, at + 2);
    at = end == std::string_view::npos ? text.size() : end + 2;
  }
  return std::min(at + 1, text.size());
}

std::vector<GlobPiece> globPieces(std::string_view glob) {
  return GlobReader(glob).read();
}

std::string regexOf(const std::vector<GlobPiece>& pieces) {
  std::string regex = "^";
  for (const GlobPiece& piece : pieces)
    regex += piece.regex;
  // Behind a lone escape sign the "$" would be escaped, and the expression open at its end.
  if (pieces.empty() || pieces.back().regex != "\\")
    regex += '$';
  return regex;
}

std::string globToRegex(std::string_view glob) {
  return regexOf(globPieces(glob));
}

}  // namespace orv
