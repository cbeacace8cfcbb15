#include "orvctl/text/Style.h"

#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <clocale>
#include <cstdlib>

namespace orv::ctl {
namespace {

// Wider lines are hard to follow; a COLUMNS beyond this is taken for a mistake.
constexpr int MAX_WIDTH = 500;

int terminalWidth(int fd) {
  if (const char* columns = std::getenv("COLUMNS"))
    if (const int width = std::atoi(columns); width > 0)
      return width;
  winsize size{};
  if (::ioctl(fd, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
    return size.ws_col;
  return 80;
}

bool isSet(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr && *value != '\0';
}

}  // namespace

Style styleFor(int fd) {
  const char* terminal = std::getenv("TERM");
  std::setlocale(LC_CTYPE, "");
  Style style;
  style.width = std::clamp(terminalWidth(fd), Style::MIN_WIDTH, MAX_WIDTH);
  style.terminal = ::isatty(fd) == 1;
  style.dumb = terminal == nullptr || *terminal == '\0' || std::string_view(terminal) == "dumb";
  style.colour = style.terminal && !isSet("NO_COLOR") && !style.dumb;
  style.unicode = std::string_view(::nl_langinfo(CODESET)) == "UTF-8";
  return style;
}

std::string withoutEmphasis(std::string_view text) {
  std::string plain;
  bool isCode = false;
  for (const char character : text) {
    isCode |= character == '\x1b';
    if (!isCode)
      plain += character;
    isCode &= character != 'm';
  }
  return plain;
}

std::string emphasized(std::string_view text, Emphasis emphasis, const Style& style) {
  static constexpr std::array<std::string_view, 3> CODES = {"\x1b[1m", "\x1b[36m", "\x1b[33m"};
  if (!style.colour || text.empty())
    return std::string(text);
  return std::string(CODES[static_cast<std::size_t>(emphasis)]) + std::string(text) + "\x1b[0m";
}

}  // namespace orv::ctl
