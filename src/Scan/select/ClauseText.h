#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Scan/select/SelectNodes.h"

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

// A where clause as a person types it, made ready for the parser and for the definition file.
struct NormalizedClause {
  std::string clause;  // without blanks outside quotes: what SelectParser takes
  std::string tokens;  // its bytes with a blank between: what the definition file holds. A blank or
                       // a comma ends a token there, so no clause can hold either. The value's own
                       // quoting, and "null" for an empty value, are left to who writes the file.
  std::vector<std::size_t> origins;  // offset in the typed text of each byte of `clause`, then of
                                     // its end
  ClauseError error;                 // position 0: none. Its position is one in the typed text.

  explicit operator bool() const noexcept { return error.position == 0; }

  // The position in the typed text of an error that the parser reports for `clause`; both in
  // characters from 1.
  [[nodiscard]] std::size_t typedPosition(std::string_view typed, std::size_t position) const;
};

// Removes blanks and line breaks outside quotes. An error is what the definition file cannot carry:
// a comma anywhere, and a blank, a line break or a NUL between quotes. Nothing else is checked.
[[nodiscard]] NormalizedClause normalizeClause(std::string_view typed);

// A value that an entry's size, time stamp or link count is compared with.
struct ClauseValue {
  Measure measure;
  Span span;
};

// Reads a size: digits and an optional K, M, G or T (powers of 1024). Nothing, with the cursor's
// error set, when there is none or it passes 64 bits.
[[nodiscard]] std::optional<ClauseValue> readSize(ClauseCursor& cursor);

// Reads an age (digits and one of s m h d w y; a year has 365.25 days) or a date, YYYY-MM-DD or
// YYYY-MM-DDTHH:MM:SS in UTC. A date alone is the whole of its day. Nothing, with the cursor's
// error set, when there is none, the date does not exist or the age passes 64 bits.
[[nodiscard]] std::optional<ClauseValue> readWhen(ClauseCursor& cursor);

// Reads a number without a unit. Nothing, with the cursor's error set, when there is none or it
// passes 63 bits.
[[nodiscard]] std::optional<ClauseValue> readCount(ClauseCursor& cursor);

}  // namespace orv
