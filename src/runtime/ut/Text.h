#pragma once

#include <cstdarg>
#include <string>
#include <string_view>

namespace orv {

// Small text utilities that every subsystem uses.

// printf into a string of whatever length the result has.
[[nodiscard, gnu::format(printf, 1, 0)]] std::string formatText(const char* format, va_list args);
[[nodiscard, gnu::format(printf, 1, 2)]] std::string formatText(const char* format, ...);

// `text` with every control character (below 32, and 127) shown as \xNN, so that a name from the
// filesystem can neither break nor forge a line.
[[nodiscard]] std::string withoutControlCharacters(std::string_view text);

// Whether the byte is the first of a UTF-8 character, or belongs to none.
[[nodiscard]] constexpr bool startsCharacter(char byte) noexcept {
  return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
}

// `text` without the characters of `set` at both ends; the result points into `text`.
[[nodiscard]] std::string_view trimmed(std::string_view text, std::string_view set) noexcept;

// A file name, or any text, as one word of the shell; quoted only where that is needed, so that
// command lines stay readable.
[[nodiscard]] std::string shellWord(std::string_view text);

// The system's text for an errno value; thread-safe. The one place that maps errno to text.
[[nodiscard]] std::string errnoText(int error);

// ASCII case folding, independent of the locale.
[[nodiscard]] bool equalIgnoringCase(std::string_view a, std::string_view b) noexcept;

// The local date and time as "%Y-%m-%d %H:%M:%S" with ".mmm", the milliseconds of the second.
[[nodiscard]] std::string timeText();

}  // namespace orv
