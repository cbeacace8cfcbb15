#include "orvctl/job/JobLog.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <ctime>

#include "runtime/nls/Messages.h"
#include "runtime/ut/UniqueFd.h"

namespace orv::ctl {
namespace {

constexpr std::size_t ID_LENGTH = 8;

bool isMessageId(std::string_view word) {
  const auto all = [](std::string_view part, int (*test)(int)) {
    return std::all_of(part.begin(), part.end(),
                       [test](char c) { return test(static_cast<unsigned char>(c)) != 0; });
  };
  return word.size() == ID_LENGTH && all(word.substr(0, 3), std::isupper) &&
         all(word.substr(3, 4), std::isdigit) && std::isupper(word[7]) != 0;
}

// The message of a log line: what follows the date and the time, when it begins with a message ID.
// Empty for the further lines of a message of several lines.
std::string_view messageOf(std::string_view line) {
  for (int word = 0; word < 2; ++word) {
    const std::size_t blank = line.find(' ');
    if (blank == std::string_view::npos)
      return {};
    line.remove_prefix(blank + 1);
  }
  return isMessageId(line.substr(0, line.find(' '))) ? line : std::string_view();
}

// The time at the front of a log line in seconds since 1970; negative when there is none.
double timeOf(const std::string& line) {
  std::tm local{};
  const char* rest = ::strptime(line.c_str(), "%Y-%m-%d %H:%M:%S", &local);
  local.tm_isdst = -1;
  return rest == nullptr ? -1 : static_cast<double>(std::mktime(&local)) + std::atof(rest);
}

// The first number in a text; -1 when there is none.
std::int64_t firstNumber(std::string_view text) {
  const std::size_t at = text.find_first_of("0123456789");
  std::int64_t number = -1;
  if (at != std::string_view::npos)
    std::from_chars(text.data() + at, text.data() + text.size(), number);
  return number;
}

}  // namespace

void JobLog::poll() {
  const UniqueFd file(::open(m_path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file)
    return;
  std::array<char, 65536> buffer;
  ssize_t got = 0;
  while ((got = ::pread(file.get(), buffer.data(), buffer.size(), m_offset)) > 0) {
    m_offset += got;
    std::string_view added(buffer.data(), static_cast<std::size_t>(got));
    for (std::size_t end = 0; (end = added.find('\n')) != std::string_view::npos;) {
      m_partial += added.substr(0, end);
      takeLine(m_partial);
      m_partial.clear();
      added.remove_prefix(end + 1);
    }
    m_partial += added;
  }
}

void JobLog::takeLine(const std::string& line) {
  const std::string_view message = messageOf(line);
  if (message.empty())
    return;
  if (const double time = timeOf(line); time >= 0) {
    m_firstTime = m_lastTime < 0 ? time : m_firstTime;
    m_lastTime = time;
  }
  const std::string_view id = message.substr(0, ID_LENGTH);
  if (id == msg::AGT0143I.id || id == msg::AGT0144I.id)
    m_entriesScanned = std::max(m_entriesScanned, firstNumber(message.substr(ID_LENGTH)));
  if (id == msg::STA0025I.id)
    m_leftOut.emplace_back();  // the walk of the next filesystem begins
  if (id == msg::STA0533I.id && !m_leftOut.empty())
    m_leftOut.back().otherDevices.emplace_back(message.substr(message.find(": ") + 2));
  if (id.back() == 'I')
    return;
  ++m_warningCount;
  countLeftOut(id);
  if (m_warnings.size() < MAX_WARNINGS)
    m_warnings.emplace_back(message);
}

void JobLog::countLeftOut(std::string_view id) {
  struct Meaning {
    const Message& message;
    std::int64_t LeftOut::*count;
  };
  static constexpr std::array<Meaning, 8> MEANINGS = {{
      {msg::STA0001E, &LeftOut::tooDeep},
      {msg::STA0063E, &LeftOut::unreadable},
      {msg::STA0069W, &LeftOut::unreadable},
      {msg::STA0121E, &LeftOut::unreadable},
      {msg::STA0122E, &LeftOut::unreadable},
      {msg::STA0135W, &LeftOut::unreadable},
      {msg::STA0139W, &LeftOut::tooLong},
      {msg::STA0564E, &LeftOut::lostShares},
  }};
  for (const Meaning& known : MEANINGS)
    if (known.message.id == id && !m_leftOut.empty())
      ++(m_leftOut.back().*known.count);
}

}  // namespace orv::ctl
