#pragma once

#include <optional>
#include <string>
#include <string_view>

// Small files that several processes read and replace as a whole.
namespace orv {

// Fills `temporary` (in the same directory; a leftover of that name is discarded) with `text`,
// flushes it to the disk and renames it over `path`: whoever reads `path` sees the old content or
// the new, and so does the next process after this one was killed in between. False with errno on
// failure, which is traced; `path` is then as it was and `temporary` is gone. One process at a time
// per `temporary`.
[[nodiscard]] bool replaceFile(const std::string& path, const std::string& temporary,
                               std::string_view text);

// The whole content of a regular file; nothing, with errno, when it cannot be read.
[[nodiscard]] std::optional<std::string> readWholeFile(const std::string& path);

}  // namespace orv
