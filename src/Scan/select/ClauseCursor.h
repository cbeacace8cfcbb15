#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace orv {

// Why a where clause does not parse, in the words of message STA0029E.
struct ClauseError {
  std::size_t position = 0;  // in characters, from 1; one behind the last at the end of the clause
  std::string found;
  std::string expected;
};

// Where the parsing of a where clause stands, and the first error that it met. Lives on the stack
// of one parse; the clause outlives it. Words and letters fold case.
class ClauseCursor final {
 public:
  explicit ClauseCursor(std::string_view clause) : m_clause(clause) {}

  [[nodiscard]] std::size_t at() const noexcept { return m_at; }
  [[nodiscard]] bool atEnd() const noexcept { return m_at == m_clause.size(); }
  // The next byte; NUL at the end.
  [[nodiscard]] char peek() const noexcept { return atEnd() ? '\0' : m_clause[m_at]; }
  // What was read since `from`.
  [[nodiscard]] std::string_view since(std::size_t from) const noexcept {
    return m_clause.substr(from, m_at - from);
  }

  // Each steps over what it names when that comes next.
  bool take(std::string_view symbol) noexcept;
  std::string_view takeLetters() noexcept;  // as many as there are
  std::string_view takeDigits() noexcept;   // as many as there are
  std::string_view takeUpTo(char end) noexcept;

  // Records an error at offset `where`, unless there is one already. What is found there is the
  // word, number or character at that place, or what was read between it and the cursor.
  void fail(std::size_t where, std::string_view expected);
  // The same, with other words for what was found.
  void fail(std::size_t where, std::string found, std::string_view expected);

  [[nodiscard]] bool failed() const noexcept { return m_error.position != 0; }
  [[nodiscard]] const ClauseError& error() const noexcept { return m_error; }

 private:
  [[nodiscard]] std::string foundAt(std::size_t where) const;

  std::string_view m_clause;
  std::size_t m_at = 0;
  ClauseError m_error;
};

// `text` between double quotes, control characters made visible and what is long cut.
[[nodiscard]] std::string shownInError(std::string_view text);

}  // namespace orv
