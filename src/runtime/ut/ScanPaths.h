#pragma once

#include <string>
#include <string_view>

// Path utilities of the filesystem scan.
namespace orv {

// `text` without the white space around it.
[[nodiscard]] std::string removeSurroundingWhitespaces(std::string_view text);

// Every "\\" pair, then every single "\" as "/", and runs of "/" as one.
[[nodiscard]] std::string replaceDelimiter(std::string_view path);

// Kept beside its siblings, which path rules of the agent's other programs share.
[[nodiscard]] bool startsWith(std::string_view text, std::string_view prefix) noexcept;

// How many "/" a path holds.
[[nodiscard]] int findSlashes(std::string_view path) noexcept;

// The depth of a path: how many components it has.
[[nodiscard]] int pathDepth(std::string_view path) noexcept;

// `path` with a "/" at its end.
[[nodiscard]] std::string withTrailingSlash(std::string path);

// `path` without the "/" at its end; the root directory keeps its own. Points into `path`.
[[nodiscard]] std::string_view withoutTrailingSlash(std::string_view path) noexcept;

}  // namespace orv
