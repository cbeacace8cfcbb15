#include "runtime/ut/ScanPaths.h"

#include <algorithm>

#include "runtime/ut/Text.h"

namespace orv {

std::string removeSurroundingWhitespaces(std::string_view text) {
  return std::string(trimmed(text, " \t\r\n\f\v"));
}

std::string replaceDelimiter(std::string_view path) {
  std::string result;
  for (const char c : path) {
    const char separatorOrChar = c == '\\' ? '/' : c;
    if (separatorOrChar != '/' || result.empty() || result.back() != '/')
      result += separatorOrChar;
  }
  return result;
}

bool startsWith(std::string_view text, std::string_view prefix) noexcept {
  return text.substr(0, prefix.size()) == prefix;
}

int findSlashes(std::string_view path) noexcept {
  return static_cast<int>(std::count(path.begin(), path.end(), '/'));
}

// Counted by the starts of components: slashes in a row, or at the end, add no level.
int pathDepth(std::string_view path) noexcept {
  int depth = 0;
  for (std::size_t i = 0; i < path.size(); ++i)
    if (path[i] != '/' && (i == 0 || path[i - 1] == '/'))
      ++depth;
  return depth;
}

std::string withTrailingSlash(std::string path) {
  if (path.empty() || path.back() != '/')
    path += '/';
  return path;
}

std::string_view withoutTrailingSlash(std::string_view path) noexcept {
  // The root directory keeps its own.
  while (path.size() > 1 && path.back() == '/')
    path.remove_suffix(1);
  return path;
}

}  // namespace orv
