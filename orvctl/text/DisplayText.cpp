#include "orvctl/text/DisplayText.h"

#include <fmt/format.h>

#include <clocale>
#include <cwchar>

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

}  // namespace orv::ctl
