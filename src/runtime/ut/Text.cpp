#include "runtime/ut/Text.h"

#include <sys/time.h>

#include <cstdio>
#include <ctime>
#include <system_error>

namespace orv {

std::string formatText(const char* format, va_list args) {
  // Measured first: a path in an insert may be of any length.
  va_list measure;
  va_copy(measure, args);
  const int length = std::vsnprintf(nullptr, 0, format, measure);
  va_end(measure);
  if (length <= 0)
    return {};
  std::string text(static_cast<std::size_t>(length), '\0');
  std::vsnprintf(text.data(), text.size() + 1, format, args);
  return text;
}

std::string formatText(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::string text = formatText(format, args);
  va_end(args);
  return text;
}

std::string withoutControlCharacters(std::string_view text) {
  static constexpr char HEX[] = "0123456789ABCDEF";
  std::string result;
  result.reserve(text.size());
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 32 && byte != 127) {
      result += c;
      continue;
    }
    result += "\\x";
    result += HEX[byte >> 4];
    result += HEX[byte & 15];
  }
  return result;
}

std::string_view trimmed(std::string_view text, std::string_view set) noexcept {
  const auto first = text.find_first_not_of(set);
  if (first == std::string_view::npos)
    return {};
  const auto last = text.find_last_not_of(set);
  return text.substr(first, last - first + 1);
}

std::string shellWord(std::string_view text) {
  // What means nothing to any shell, wherever in a word it stands: no "~", no "#".
  static constexpr std::string_view PLAIN =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/._-+,:@%=";
  if (!text.empty() && text.find_first_not_of(PLAIN) == std::string_view::npos)
    return std::string(text);
  std::string word = "'";
  for (const char c : text)
    word += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return word + "'";
}

std::string errnoText(int error) {
  return std::generic_category().message(error);
}

bool equalIgnoringCase(std::string_view a, std::string_view b) noexcept {
  // Not with the library's functions, which follow the locale: options and units are ASCII
  // everywhere.
  const auto fold = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  if (a.size() != b.size())
    return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (fold(a[i]) != fold(b[i]))
      return false;
  return true;
}

std::string timeText() {
  timeval now{};
  ::gettimeofday(&now, nullptr);
  tm local{};
  ::localtime_r(&now.tv_sec, &local);
  char dateAndTime[32];
  const std::size_t length =
      std::strftime(dateAndTime, sizeof dateAndTime, "%Y-%m-%d %H:%M:%S", &local);
  return std::string(dateAndTime, length) +
         formatText(".%03lu", static_cast<unsigned long>(now.tv_usec / 1000));
}

}  // namespace orv
