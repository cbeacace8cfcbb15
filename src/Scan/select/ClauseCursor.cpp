#include "Scan/select/ClauseCursor.h"

#include <algorithm>

#include "runtime/ut/Text.h"

namespace orv {

namespace {

constexpr std::size_t LONGEST_SHOWN = 40;

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}
bool isLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool continuesCharacter(char c) {
  return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

// Length of the longest start of `text` whose bytes are all of that kind.
template <typename Kind>
std::size_t runOf(std::string_view text, Kind kind) {
  return static_cast<std::size_t>(std::ranges::find_if_not(text, kind) - text.begin());
}

}  // namespace

std::string shownInError(std::string_view text) {
  if (text.size() <= LONGEST_SHOWN)
    return '"' + withoutControlCharacters(text) + '"';
  std::size_t cut = LONGEST_SHOWN;
  while (cut > 1 && continuesCharacter(text[cut]))
    --cut;
  return '"' + withoutControlCharacters(text.substr(0, cut)) + "...\"";
}

bool ClauseCursor::take(std::string_view symbol) noexcept {
  if (!m_clause.substr(m_at).starts_with(symbol))
    return false;
  m_at += symbol.size();
  return true;
}

std::string_view ClauseCursor::takeLetters() noexcept {
  const std::size_t from = m_at;
  m_at += runOf(m_clause.substr(m_at), isLetter);
  return since(from);
}

std::string_view ClauseCursor::takeDigits() noexcept {
  const std::size_t from = m_at;
  m_at += runOf(m_clause.substr(m_at), isDigit);
  return since(from);
}

std::string_view ClauseCursor::takeUpTo(char end) noexcept {
  const std::size_t from = m_at;
  m_at = std::min(m_clause.find(end, m_at), m_clause.size());
  return since(from);
}

void ClauseCursor::fail(std::size_t where, std::string_view expected) {
  fail(where, foundAt(where), expected);
}

void ClauseCursor::fail(std::size_t where, std::string found, std::string_view expected) {
  if (failed())
    return;
  const auto characters = std::ranges::count_if(m_clause.substr(0, where),
                                                [](char c) { return !continuesCharacter(c); });
  m_error = {static_cast<std::size_t>(characters) + 1, std::move(found), std::string(expected)};
}

std::string ClauseCursor::foundAt(std::size_t where) const {
  if (where >= m_clause.size())
    return "the end of the clause";
  const std::string_view rest = m_clause.substr(where);
  const std::size_t word = runOf(rest, [](char c) { return isLetter(c) || isDigit(c); });
  const std::size_t character = 1 + runOf(rest.substr(1), continuesCharacter);
  const std::size_t read = m_at > where ? m_at - where : 0;
  return shownInError(rest.substr(0, std::max({word, character, read})));
}

}  // namespace orv
