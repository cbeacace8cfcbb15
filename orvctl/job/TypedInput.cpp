#include "orvctl/job/TypedInput.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>

#include "Scan/select/ClauseText.h"
#include "Scan/select/PathPattern.h"
#include "Scan/select/SelectExplain.h"
#include "Scan/select/SelectParser.h"
#include "orvctl/text/CtlError.h"
#include "orvctl/text/DisplayText.h"
#include "runtime/ut/Text.h"

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
  for (std::size_t seen = 0; at < text.size(); ++at)
    if (startsCharacter(text[at]) && ++seen == position)
      break;
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

// What makes a path a pattern, and what a definition cannot hold in a path.
constexpr std::string_view WILDCARDS = "*?[";
constexpr std::string_view NOT_LITERAL = "*?[\\\n";

[[noreturn]] void cannotWatch(const std::string& typed, const std::string& why) {
  throw CtlError(fmt::format("cannot watch {}: {}", printable(typed), why));
}

bool isPattern(const std::string& typed) {
  return typed.find_first_of(WILDCARDS) != std::string::npos || typed.starts_with("%/") ||
         typed.find("/%/") != std::string::npos;
}

// `root` as the beginning of the paths below it.
std::string asPrefix(const std::string& root) {
  return root.ends_with('/') ? root : root + "/";
}

std::string directoryPath(const std::string& typed, const std::string& path,
                          const std::string& root) {
  struct stat info {};
  struct stat rootInfo {};
  if (::stat(path.c_str(), &info) != 0 || ::stat(root.c_str(), &rootInfo) != 0)
    cannotWatch(typed, errnoText(errno));
  if (!S_ISDIR(info.st_mode))
    cannotWatch(typed, errnoText(ENOTDIR));
  if (path.find_first_of(NOT_LITERAL) != std::string::npos)
    cannotWatch(typed,
                "a path with *, ?, [, a backslash or a line break cannot be named literally in a "
                "scan definition");
  // The filesystem's own directory is named with a "/" at its end.
  if (path == root)
    return asPrefix(root);
  if (!path.starts_with(asPrefix(root)))
    cannotWatch(typed, fmt::format("{} is not inside {}", printable(path), printable(root)));
  if (info.st_dev != rootInfo.st_dev)
    cannotWatch(typed, "it lies on another filesystem, which the scan does not enter");
  return path;
}

std::string patternPath(const std::string& typed, const std::string& path,
                        const std::string& root) {
  if (!path.starts_with(asPrefix(root)))
    cannotWatch(typed, fmt::format("the pattern must begin with {}", printable(asPrefix(root))));
  if (path.find('\n') != std::string::npos)
    cannotWatch(typed, "a line break cannot be written into a scan definition");
  std::string error;
  if (!PathPattern::compile(path, PatternScope::PATH, error))
    cannotWatch(typed, "not a valid pattern: " + error);
  return path;
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

std::string watchPath(const std::string& typed, const std::string& root) {
  const std::string path = typed.starts_with('/') ? typed : asPrefix(root) + typed;
  const std::unique_ptr<char, void (*)(void*)> resolved(::realpath(path.c_str(), nullptr),
                                                        std::free);
  if (resolved)
    return directoryPath(typed, resolved.get(), root);
  const int error = errno;
  if (isPattern(typed))
    return patternPath(typed, path, root);
  cannotWatch(typed, errnoText(error));
}

}  // namespace orv::ctl
