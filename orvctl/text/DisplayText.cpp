#include "orvctl/text/DisplayText.h"

#include <fmt/format.h>

#include <algorithm>
#include <clocale>
#include <cwchar>

#include "orvctl/text/Utf8.h"

namespace orv::ctl {
namespace {

// Lets this thread's wide-character functions read UTF-8 for the length of a scope. A system
// without the locale keeps its own: what that cannot read is then escaped.
class Utf8Scope final {
 public:
  Utf8Scope() : m_before(::uselocale(utf8())) {}
  ~Utf8Scope() { ::uselocale(m_before); }
  Utf8Scope(const Utf8Scope&) = delete;
  Utf8Scope& operator=(const Utf8Scope&) = delete;

 private:
  static locale_t utf8() {
    static const locale_t locale = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return locale;
  }
  locale_t m_before;
};

struct Glyph {
  std::size_t bytes;  // at least 1
  int columns;        // -1 for what must not be printed as it is
};

bool turnsDirection(wchar_t character) {
  return (character >= 0x202A && character <= 0x202E) ||
         (character >= 0x2066 && character <= 0x2069) || character == 0x200E || character == 0x200F;
}

Glyph firstGlyph(std::string_view text) {
  wchar_t character = 0;
  std::mbstate_t state{};
  const std::size_t bytes = std::mbrtowc(&character, text.data(), text.size(), &state);
  if (bytes == 0 || bytes > text.size())
    return {1, -1};
  return {bytes, turnsDirection(character) ? -1 : ::wcwidth(character)};
}

// The longest prefix of at most `width` columns, in bytes.
std::size_t prefixOf(std::string_view text, int width) {
  std::size_t end = 0;
  while (end < text.size()) {
    const Glyph glyph = firstGlyph(text.substr(end));
    width -= glyph.columns;
    if (width < 0)
      break;
    end += glyph.bytes;
  }
  return end;
}

std::string blanks(int count) {
  return std::string(static_cast<std::size_t>(count > 0 ? count : 0), ' ');
}

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

std::string printable(std::string_view bytes) {
  const Utf8Scope utf8;
  std::string result;
  while (!bytes.empty()) {
    const Glyph glyph = firstGlyph(bytes);
    if (glyph.columns >= 0) {
      result += bytes.substr(0, glyph.bytes);
    } else {
      for (const char byte : bytes.substr(0, glyph.bytes))
        result += fmt::format("\\x{:02X}", static_cast<unsigned char>(byte));
    }
    bytes.remove_prefix(glyph.bytes);
  }
  return result;
}

int displayWidth(std::string_view printable) {
  const Utf8Scope utf8;
  int width = 0;
  while (!printable.empty()) {
    const Glyph glyph = firstGlyph(printable);
    width += glyph.columns;
    printable.remove_prefix(glyph.bytes);
  }
  return width;
}

std::string shortened(std::string_view printable, int width, std::string_view ellipsis) {
  const int full = displayWidth(printable);
  if (full <= width)
    return std::string(printable);
  const int room = width - displayWidth(ellipsis);
  if (room <= 0)
    return std::string(ellipsis.substr(0, static_cast<std::size_t>(std::max(width, 0))));
  const Utf8Scope utf8;
  const std::size_t head = prefixOf(printable, room / 3);
  // The tail begins at the first character from which no more than the room that is left is taken.
  std::size_t tail = head;
  for (int rest = full - displayWidth(printable.substr(0, head)); rest > room - room / 3;) {
    const Glyph glyph = firstGlyph(printable.substr(tail));
    rest -= glyph.columns;
    tail += glyph.bytes;
  }
  return std::string(printable.substr(0, head)) + std::string(ellipsis) +
         std::string(printable.substr(tail));
}

std::string padRight(std::string_view printable, int width) {
  return std::string(printable) + blanks(width - displayWidth(printable));
}

std::string padLeft(std::string_view printable, int width) {
  return blanks(width - displayWidth(printable)) + std::string(printable);
}

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
