#include "orvctl/text/PathText.h"

#include <fmt/format.h>

#include <algorithm>

#include "orvctl/text/Utf8.h"

namespace orv::ctl {
namespace {

// What a shell takes as it stands, anywhere in a word.
bool isPlain(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
         (byte >= '0' && byte <= '9') || byte >= 0x80 ||
         std::string_view("/._-+,:@%^=").find(character) != std::string_view::npos;
}

std::string withoutBytesAboveAscii(std::string_view text) {
  std::string result;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    result += byte < 0x80 ? std::string(1, character) : fmt::format("\\x{:02X}", byte);
  }
  return result;
}

// $'...', in which \xNN is a byte. `utf8` shows bytes that cannot be printed in that way already,
// and a backslash of the name that could be read so as one of them.
std::string dollarQuoted(std::string_view utf8, const Style& style) {
  std::string result = "$'";
  for (std::size_t at = 0; at < utf8.size(); ++at) {
    const bool isByte = utf8.substr(at, 2) == "\\x" && bytesOf(utf8.substr(at, 4)).size() == 1;
    if (utf8[at] == '\'' || (utf8[at] == '\\' && !isByte))
      result += '\\';
    result += utf8[at];
  }
  result += "'";
  return style.unicode ? result : withoutBytesAboveAscii(result);
}

// '...', in which nothing but the quote itself means anything.
std::string singleQuoted(std::string_view text) {
  std::string result = "'";
  for (const char character : text)
    result += character == '\'' ? std::string("'\\''") : std::string(1, character);
  return result + "'";
}

}  // namespace

std::string pathText(std::string_view utf8, const Style& style) {
  const std::string bytes = bytesOf(utf8);
  const bool ascii = std::ranges::all_of(
      bytes, [](char character) { return static_cast<unsigned char>(character) < 0x80; });
  if (!style.terminal)
    return style.unicode ? std::string(utf8) : withoutBytesAboveAscii(utf8);
  // What was escaped is not what the bytes are, and only $'...' can say so to a shell.
  if (bytes != utf8 || (!ascii && !style.unicode))
    return dollarQuoted(utf8, style);
  return std::ranges::all_of(bytes, isPlain) ? bytes : singleQuoted(bytes);
}

}  // namespace orv::ctl
