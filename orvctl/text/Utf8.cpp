#include "orvctl/text/Utf8.h"

#include <fmt/format.h>

#include <array>
#include <cstdint>
#include <iterator>
#include <optional>

namespace orv::ctl {
namespace {

struct Character {
  std::size_t bytes;   // at least 1
  std::uint32_t code;  // 0 for what is no UTF-8
};

// Lead bytes of the characters of two to four bytes, and the least code each may stand for: a
// longer form than needed is no UTF-8.
struct Form {
  unsigned char mask;
  unsigned char lead;
  std::uint32_t least;
};
constexpr std::array<Form, 3> FORMS = {
    {{0xE0, 0xC0, 0x80}, {0xF0, 0xE0, 0x800}, {0xF8, 0xF0, 0x10000}}};

unsigned char byteAt(std::string_view text, std::size_t at) {
  return static_cast<unsigned char>(text[at]);
}

Character firstCharacter(std::string_view text) {
  constexpr Character NONE = {1, 0};
  const unsigned char lead = byteAt(text, 0);
  if (lead < 0x80)
    return {1, lead};
  for (std::size_t form = 0; form < FORMS.size(); ++form) {
    if ((lead & FORMS[form].mask) != FORMS[form].lead)
      continue;
    const std::size_t length = form + 2;
    std::uint32_t code = lead & static_cast<unsigned char>(~FORMS[form].mask);
    for (std::size_t at = 1; at < length; ++at) {
      if (at >= text.size() || (byteAt(text, at) & 0xC0) != 0x80)
        return NONE;
      code = code << 6 | (byteAt(text, at) & 0x3FU);
    }
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    return code < FORMS[form].least || code > 0x10FFFF || surrogate ? NONE
                                                                    : Character{length, code};
  }
  return NONE;
}

bool disturbs(std::uint32_t code) {
  const bool control =
      code < 0x20 || (code >= 0x7F && code < 0xA0) || code == 0x2028 || code == 0x2029;
  const bool turnsDirection = (code >= 0x202A && code <= 0x202E) ||
                              (code >= 0x2066 && code <= 0x2069) || code == 0x200E ||
                              code == 0x200F || code == 0x061C;
  return control || turnsDirection;
}

std::optional<unsigned> hexDigit(char character) {
  if (character >= '0' && character <= '9')
    return static_cast<unsigned>(character - '0');
  if (character >= 'A' && character <= 'F')
    return static_cast<unsigned>(character - 'A' + 10);
  return std::nullopt;
}

// The byte that "\xNN" at the front of `text` stands for.
std::optional<char> escapedByte(std::string_view text) {
  if (text.size() < 4 || !text.starts_with("\\x"))
    return std::nullopt;
  const auto high = hexDigit(text[2]);
  const auto low = hexDigit(text[3]);
  return high && low ? std::optional(static_cast<char>(*high << 4 | *low)) : std::nullopt;
}

}  // namespace

std::string utf8Text(std::string_view bytes) {
  std::string result;
  result.reserve(bytes.size());
  while (!bytes.empty()) {
    const Character first = firstCharacter(bytes);
    if (disturbs(first.code) || escapedByte(bytes))
      for (const char byte : bytes.substr(0, first.bytes))
        fmt::format_to(std::back_inserter(result), "\\x{:02X}", static_cast<unsigned char>(byte));
    else
      result += bytes.substr(0, first.bytes);
    bytes.remove_prefix(first.bytes);
  }
  return result;
}

std::string bytesOf(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const auto byte = escapedByte(text);
    result += byte.value_or(text.front());
    text.remove_prefix(byte ? 4 : 1);
  }
  return result;
}

}  // namespace orv::ctl
