#include "orvctl/job/WhereClause.h"

#include <fmt/format.h>

#include <algorithm>

#include "Scan/select/ClauseText.h"
#include "Scan/select/SelectExplain.h"
#include "Scan/select/SelectParser.h"
#include "orvctl/text/CtlError.h"
#include "orvctl/text/DisplayText.h"

namespace orv::ctl {
namespace {

// The clause on one line: line breaks and tabs, which it may have between its tests, as blanks.
std::string onOneLine(std::string_view typed) {
  std::string text(typed);
  std::ranges::replace_if(
      text, [](unsigned char byte) { return byte >= '\t' && byte <= '\r'; }, ' ');
  return text;
}

// What stands in front of a position, which counts characters from 1.
std::string_view before(std::string_view text, std::size_t position) {
  std::size_t at = 0;
  for (std::size_t seen = 0; at < text.size(); ++at) {
    const bool startsCharacter = (static_cast<unsigned char>(text[at]) & 0xC0U) != 0x80U;
    if (startsCharacter && ++seen == position)
      break;
  }
  return text.substr(0, at);
}

[[noreturn]] void refuse(std::string_view typed, const ClauseError& error, std::size_t position) {
  const std::string line = onOneLine(typed);
  const auto column = static_cast<std::size_t>(displayWidth(printable(before(line, position))));
  throw CtlError(
      fmt::format("cannot use the where clause: found {}, expected {}\n  {}\n  {}^", error.found,
                  error.expected, printable(line), std::string(column, ' ')),
      EXIT_USAGE);
}

}  // namespace

WhereClause readWhereClause(std::string_view typed) {
  const NormalizedClause normalized = normalizeClause(typed);
  if (!normalized)
    refuse(typed, normalized.error, normalized.error.position);
  const ParsedClause parsed = SelectParser().parse(normalized.clause);
  if (!parsed)
    refuse(typed, parsed.error, normalized.typedPosition(typed, parsed.error.position));
  return {onOneLine(typed), normalized.tokens, explain(*parsed.node)};
}

}  // namespace orv::ctl
