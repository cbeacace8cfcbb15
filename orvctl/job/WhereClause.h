#pragma once

#include <string>
#include <string_view>

namespace orv::ctl {

// A where clause that a person typed, found to be a valid one.
struct WhereClause {
  std::string text;         // as typed, on one line
  std::string tokens;       // as a definition file holds it, without the value's own quotes
  std::string explanation;  // in plain English, a line per test
};

// Checks a clause; blanks and line breaks outside quotes are allowed. Throws CtlError with
// EXIT_USAGE for one that cannot be used: its text says what was found and what was expected, and
// shows the clause with a caret under the place.
[[nodiscard]] WhereClause readWhereClause(std::string_view typed);

}  // namespace orv::ctl
