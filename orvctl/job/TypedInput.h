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

// The path of a monitored directory as a definition names it, made from what a person typed:
// a directory inside `root` (relative to it, links resolved), `root` itself, or,
// when there is no such directory, a pattern of paths below `root` (see PathPattern). `root` is
// absolute and without links. Throws CtlError for what the scan of `root` could not find.
[[nodiscard]] std::string watchPath(const std::string& typed, const std::string& root);

}  // namespace orv::ctl
