#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "Scan/select/ClauseCursor.h"

namespace orv {

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

}  // namespace orv
