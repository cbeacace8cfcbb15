#pragma once

#include <span>
#include <string>
#include <string_view>

// Name utilities of the scan. The job calls `getTranslatedName`; the others are kept for the
// agent's programs that read names in the same way.
namespace orv {

// Whether the text is empty or exactly one blank.
[[nodiscard]] bool isEmpty(std::string_view text);

// The run of characters from the first non-separator at or after `start` to the next separator
// (white space) or the end; empty when only separators remain.
[[nodiscard]] std::string nextWord(std::string_view text, std::size_t start);

// The display text of an internal statistic name ("SQL_NAME_..."), from the message catalog; any
// other name, and every name while no log is open, comes back unchanged. A name that begins with
// one of `qualifiers` and "." keeps both, and the rest is translated; the first that fits counts.
[[nodiscard]] std::string getTranslatedName(std::string_view name,
                                            std::span<const std::string> qualifiers = {});

[[nodiscard]] bool stringsEqual(std::string_view a, std::string_view b);
[[nodiscard]] bool stringsEqualIgnoreCase(std::string_view a, std::string_view b);

}  // namespace orv
