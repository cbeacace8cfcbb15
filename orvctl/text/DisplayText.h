#pragma once

#include <string>
#include <string_view>

#include "orvctl/text/Style.h"

namespace orv::ctl {

// Text as a terminal shows it: names from the filesystem are any bytes, and columns line up by what
// is seen, not by bytes. Every width is in terminal columns (a wide character takes two). The text
// is read as UTF-8 whatever the user's locale is.

// `bytes` made safe to print: control characters, characters that turn the writing direction and
// bytes that are no UTF-8 are shown as \xNN.
[[nodiscard]] std::string printable(std::string_view bytes);

// Columns that a printable text takes.
[[nodiscard]] int displayWidth(std::string_view printable);

// A printable text cut to at most `width` columns by leaving out its middle, which `ellipsis` then
// stands for; the end, which tells paths apart, gets the larger part.
[[nodiscard]] std::string shortened(std::string_view printable, int width,
                                    std::string_view ellipsis);

// The text with blanks on its right (or, for figures, on its left) up to `width` columns.
[[nodiscard]] std::string padRight(std::string_view printable, int width);
[[nodiscard]] std::string padLeft(std::string_view printable, int width);

// A path so that it can be copied from where it is printed; `utf8` is what `utf8Text` made of its
// bytes. On a terminal it is quoted for the shell where the shell would read something else, as
// `ls` does; elsewhere it stands as it is. Where the locale is not UTF-8, bytes outside ASCII,
// which may be control characters there, are escaped.
[[nodiscard]] std::string pathText(std::string_view utf8, const Style& style);

}  // namespace orv::ctl
