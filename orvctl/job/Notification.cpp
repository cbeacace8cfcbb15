#include "orvctl/job/Notification.h"

#include <map>
#include <string>
#include <vector>

#include "runtime/ut/Text.h"

namespace orv::ctl {
namespace {

constexpr std::size_t FIRST_OPTION = 4;  // behind date, time, "-notify" and "scan"

// The character that a backslash stands before: itself, or the control character of "\xNN".
bool takeEscape(std::string_view& line, std::string& word) {
  if (line.empty())
    return false;
  if (line[0] != 'x') {
    word += line[0];
    line.remove_prefix(1);
    return true;
  }
  const std::string_view digits = line.substr(1, 2);
  unsigned char byte = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
  if (error != std::errc() || digits.size() != 2 || end != digits.data() + 2)
    return false;
  word += static_cast<char>(byte);
  line.remove_prefix(3);
  return true;
}

// The words of a line as the stand-in was given them; nothing when a quote or an escape is cut off.
std::optional<std::vector<std::string>> wordsOf(std::string_view line) {
  std::vector<std::string> words;
  while (!line.empty()) {
    std::string word;
    bool quoted = false;
    while (!line.empty() && (quoted || line[0] != ' ')) {
      const char character = line[0];
      line.remove_prefix(1);
      if (character == '"')
        quoted = !quoted;
      else if (character != '\\')
        word += character;
      else if (!takeEscape(line, word))
        return std::nullopt;
    }
    if (quoted)
      return std::nullopt;
    words.push_back(std::move(word));
    line.remove_prefix(line.empty() ? 0 : 1);
  }
  return words;
}

}  // namespace

std::optional<Notification> parseNotification(std::string_view line) {
  const auto words = wordsOf(line);
  if (!words || words->size() < FIRST_OPTION || words->size() % 2 != 0 ||
      !equalIgnoringCase((*words)[2], "-notify") || (*words)[3] != "scan")
    return std::nullopt;
  std::map<std::string, std::string> options;
  for (std::size_t i = FIRST_OPTION; i < words->size(); i += 2)
    options[(*words)[i]] = (*words)[i + 1];

  const auto jobRunNumber = numberIn<int>(options["-jobRunNumber"]);
  const auto sidRunNumber = numberIn<int>(options["-sidRunNumber"]);
  const auto code = numberIn<int>(options["-exitCode"]);
  const auto start = timeIn(options["-jobstarttimestamp"]);
  const auto end = timeIn(options["-jobendtimestamp"]);
  if (!jobRunNumber || !sidRunNumber || !code || !start || !end)
    return std::nullopt;
  return Notification{{options["-serverName"], options["-jobName"], *jobRunNumber, *sidRunNumber},
                      *start,
                      *end,
                      *code};
}

}  // namespace orv::ctl
