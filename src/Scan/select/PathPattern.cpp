#include "Scan/select/PathPattern.h"

#include <algorithm>
#include <initializer_list>
#include <utility>

#include "Scan/select/Glob.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

using Kind = GlobPiece::Kind;
using Pieces = std::vector<GlobPiece>;

// What plain comparisons decide, as nearly all patterns that people write; nothing for the others.
std::optional<PathPattern::Shape> shapeOf(const Pieces& pieces) {
  PathPattern::Shape shape;
  std::string run;
  for (const GlobPiece& piece : pieces) {
    if (piece.kind == Kind::LITERAL) {
      run += piece.literal;
    } else if (piece.kind == Kind::DIRECTORIES && !shape.anyDepth && !shape.star) {
      shape.anyDepth = true;
      shape.anchor = std::exchange(run, {});
    } else if (piece.kind == Kind::STAR && !shape.star) {
      shape.star = true;
      shape.head = std::exchange(run, {});
    } else if (piece.kind == Kind::SUBTREE && !shape.star) {
      shape.subtree = true;
    } else {
      return std::nullopt;
    }
  }
  (shape.star ? shape.tail : shape.head) = std::move(run);
  return shape;
}

PathPattern::Literals literalsOf(const Pieces& pieces) {
  PathPattern::Literals literals;
  // A verbatim escape may make the literal text beside it optional.
  if (std::ranges::find(pieces, Kind::VERBATIM, &GlobPiece::kind) != pieces.end())
    return literals;
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    if (pieces[i].kind == Kind::ONE_BYTE)
      ++literals.shortest;
    if (pieces[i].kind != Kind::LITERAL)
      continue;
    literals.shortest += pieces[i].literal.size();
    if (i == 0)
      literals.prefix = pieces[i].literal;
    else if (i + 1 == pieces.size())
      literals.suffix = pieces[i].literal;
    else
      literals.infixes.push_back(pieces[i].literal);
  }
  return literals;
}

// The product of the largest numbers of all "&{n&}", which bounds how often a part is repeated.
unsigned long repeatsOf(const Pieces& pieces) {
  constexpr unsigned long TOO_MANY = PathPattern::MAX_REPEATS + 1;
  unsigned long repeats = 1;
  for (std::size_t i = 0; i + 1 < pieces.size(); ++i) {
    if (pieces[i].regex != "\\{")
      continue;
    unsigned long number = 0;
    unsigned long largest = 1;
    for (const char c : pieces[i + 1].literal) {
      const bool digit = c >= '0' && c <= '9';
      number = digit ? std::min(number * 10 + static_cast<unsigned long>(c - '0'), TOO_MANY) : 0;
      largest = std::max(largest, number);
    }
    repeats = std::min(repeats * largest, TOO_MANY);
  }
  return repeats;
}

std::string reasonToRefuse(std::string_view glob, const Pieces& pieces) {
  if (glob.empty())
    return "it is empty";
  if (glob.size() > PathPattern::MAX_LENGTH)
    return "it is longer than " + std::to_string(PathPattern::MAX_LENGTH) + " bytes";
  if (glob.find('\0') != std::string_view::npos)
    return "it holds a NUL byte";
  // The matcher unrolls what is repeated: a short pattern could take any amount of memory.
  if (repeatsOf(pieces) > PathPattern::MAX_REPEATS)
    return "its parts are repeated more than " + std::to_string(PathPattern::MAX_REPEATS) +
           " times";
  return {};
}

bool startsWithAny(std::string_view text, std::initializer_list<std::string_view> starts) {
  return std::ranges::any_of(starts, [&](std::string_view s) { return text.starts_with(s); });
}

// Whether a path component begins at `at`.
bool beginsAt(std::string_view text, std::size_t at) {
  return at == 0 || text[at - 1] == '/';
}

// Whether a path component ends before `at`.
bool endsAt(std::string_view text, std::size_t at) {
  return at == text.size() || text[at] == '/';
}

// "head*tail": what the star stands for has no "/", which with directories in front leaves the head
// one place: its last "/" is the last one before the tail.
bool starMatches(const PathPattern::Shape& shape, std::string_view text) {
  if (!text.ends_with(shape.tail))
    return false;
  text.remove_suffix(shape.tail.size());
  if (shape.anyDepth) {
    const std::size_t slash = text.rfind('/') + 1;  // one more than the index, 0 for none
    const std::size_t inHead = shape.head.rfind('/') + 1;
    if (slash < inHead || !beginsAt(text, slash - inHead))
      return false;
    text.remove_prefix(slash - inHead);
  }
  return text.starts_with(shape.head) &&
         text.find('/', shape.head.size()) == std::string_view::npos;
}

bool subtreeMatches(const PathPattern::Shape& shape, std::string_view text) {
  if (!shape.anyDepth)
    return text.starts_with(shape.head) && endsAt(text, shape.head.size());
  // The head may also stand inside of a longer name: only whole components count.
  for (std::size_t at = 0; (at = text.find(shape.head, at)) != std::string_view::npos; ++at)
    if (beginsAt(text, at) && endsAt(text, at + shape.head.size()))
      return true;
  return false;
}

bool shapeMatches(const PathPattern::Shape& shape, std::string_view text) {
  if (!text.starts_with(shape.anchor))
    return false;
  text.remove_prefix(shape.anchor.size());
  if (shape.subtree)
    return subtreeMatches(shape, text);
  if (shape.star)
    return starMatches(shape, text);
  if (!shape.anyDepth)
    return text == shape.head;
  return text.ends_with(shape.head) && beginsAt(text, text.size() - shape.head.size());
}

bool hasLiterals(const PathPattern::Literals& literals, std::string_view text) {
  if (text.size() < literals.shortest || !text.starts_with(literals.prefix) ||
      !text.ends_with(literals.suffix))
    return false;
  text = text.substr(literals.prefix.size(),
                     text.size() - literals.prefix.size() - literals.suffix.size());
  // In order and without overlap: the first place of each leaves the most room to those behind.
  for (const std::string& infix : literals.infixes) {
    const std::size_t at = text.find(infix);
    if (at == std::string_view::npos)
      return false;
    text.remove_prefix(at + infix.size());
  }
  return true;
}

}  // namespace

std::unique_ptr<PathPattern> PathPattern::compile(std::string_view glob, PatternScope scope,
                                                  std::string& error) {
  TRACE_METHOD("PathPattern::compile(...)");
  std::string effective(glob);
  if (scope == PatternScope::PATH && !startsWithAny(glob, {"/", "\\", "%/", "%\\"}))
    // A path that does not say where it begins may begin anywhere.
    effective.insert(0, "%/");
  const Pieces pieces = globPieces(effective);
  std::unique_ptr<PathPattern> pattern(new PathPattern);
  pattern->m_expression = regexOf(pieces);
  error = reasonToRefuse(glob, pieces);
  if (!error.empty())
    return nullptr;
  pattern->m_shape = shapeOf(pieces);
  if (pattern->m_shape)
    return pattern;
  // Asked before the expression: most paths lack one of its literal parts.
  pattern->m_literals = literalsOf(pieces);
  pattern->m_regex = BasicRegex::compile(pattern->m_expression, error);
  return pattern->m_regex != nullptr ? std::move(pattern) : nullptr;
}

bool PathPattern::matches(std::string_view text) const {
  if (m_shape)
    return shapeMatches(*m_shape, text);
  return hasLiterals(m_literals, text) && m_regex->matches(text);
}

}  // namespace orv
