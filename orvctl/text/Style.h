#pragma once

#include <string>
#include <string_view>

namespace orv::ctl {

// How output is to look where it goes. A value, passed to whatever prints.
struct Style {
  int width = 80;         // terminal columns, at least MIN_WIDTH
  bool colour = false;    // escape sequences for emphasis
  bool terminal = false;  // somebody may copy a path from it into a shell
  bool dumb = false;      // a terminal that knows no escape sequences, not even to clear a line
  bool unicode = false;   // block characters and the one-column ellipsis

  static constexpr int MIN_WIDTH = 60;

  [[nodiscard]] std::string_view ellipsis() const noexcept { return unicode ? "…" : "..."; }
};

// Meanings that colour stands for.
enum class Emphasis { TITLE, BAR, WARNING };

// The style for what is written to `fd`: width from COLUMNS, else from the terminal, else 80;
// colours on a terminal only and not with NO_COLOR; block characters in a UTF-8 locale.
[[nodiscard]] Style styleFor(int fd);

// `text` in the colour of its meaning; as it stands in a style without colours.
[[nodiscard]] std::string emphasized(std::string_view text, Emphasis emphasis, const Style& style);

// What a terminal shows of a text that holds emphasized parts.
[[nodiscard]] std::string withoutEmphasis(std::string_view text);

}  // namespace orv::ctl
