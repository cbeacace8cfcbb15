#pragma once

#include <string_view>

#include "Scan/select/ClauseText.h"
#include "Scan/select/SelectNodes.h"

namespace orv {

// A parsed where clause: the root of its nodes, or no node and the error.
struct ParsedClause {
  ClauseNodePtr node;
  ClauseError error;

  explicit operator bool() const noexcept { return node != nullptr; }
};

// Parses where clauses. Owned by the filesystem scan, used on the scanning thread; it keeps nothing
// between two clauses.
//
//   clause := and { "|" and }        and := unary { "&" unary }
//   unary  := "!" unary | "(" clause ")" | test
//   test   := "size" CMP SIZE               | "size" "=" SIZE ".." SIZE
//           | TIME CMP WHEN                 | TIME "=" WHEN ".." WHEN
//           | "links" CMP digits
//           | ("owner" | "group") ("=" | "!=") ("'" name "'" | id)
//           | ("path" | "name") ("~" | "!~") "'" glob "'"
//           | "type" ("=" | "!=") one or more of f d l p s b
//           | "perm" ":" flag { "+" flag }  flag := "suid" | "sgid" | "sticky" | "exec" | "orphan"
//   TIME   := "accessed" | "modified" | "created"
//   CMP    := "<" | "<=" | ">" | ">=" | "=" | "!="
//
// SIZE and WHEN are those of ClauseValues.h; words and letters fold case, names do not. The ends of
// a range are of one kind and in ascending order. The text has no blanks and no commas: see
// normalizeClause for what people type.
class SelectParser final {
 public:
  // How many "(" and "!" may be open at a time; what is deeper is an error.
  static constexpr int MAX_NESTING = 100;

  // Parses one clause. The empty clause gives a node that admits every entry.
  [[nodiscard]] ParsedClause parse(std::string_view clause) const;
};

}  // namespace orv
