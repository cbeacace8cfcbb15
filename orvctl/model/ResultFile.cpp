#include "orvctl/model/ResultFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>

#include "orvctl/text/CtlError.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/UniqueFd.h"

namespace orv::ctl {
namespace {

// Cuts the text into lines. A line feed inside quotes belongs to its value: the writer leaves line
// breaks in very long values.
class Lines final {
 public:
  explicit Lines(std::string_view text) : m_rest(text) {}

  bool next(std::string_view& line) {
    if (m_rest.empty())
      return false;
    ++m_number;
    bool quoted = false;
    std::size_t end = 0;
    for (; end < m_rest.size() && (quoted || m_rest[end] != '\n'); ++end)
      quoted ^= m_rest[end] == '"';
    line = m_rest.substr(0, end);
    m_rest.remove_prefix(std::min(end + 1, m_rest.size()));
    return true;
  }

  [[nodiscard]] int number() const noexcept { return m_number; }

 private:
  std::string_view m_rest;
  int m_number = 0;
};

// Takes the value at the front of `line` and the comma behind it. False when no comma was behind
// it.
bool takeValue(std::string_view& line, std::string& value) {
  value.clear();
  const bool quoted = line.starts_with('"');
  std::size_t at = quoted ? 1 : 0;
  for (; at < line.size(); ++at) {
    if (line[at] == '"' && quoted) {
      if (at + 1 >= line.size() || line[at + 1] != '"')
        break;
      ++at;  // a doubled quote stands for one
    } else if (line[at] == ',' && !quoted) {
      break;
    }
    value += line[at];
  }
  at = std::min(line.find(',', at), line.size());
  const bool more = at < line.size();
  line.remove_prefix(more ? at + 1 : at);
  return more;
}

Values splitValues(std::string_view line) {
  Values values(1);
  while (takeValue(line, values.back()))
    values.emplace_back();
  return values;
}

// "[Name]" or "[Name,Qualifier]": the text between the brackets.
bool isTag(std::string_view line, std::string_view& inside) {
  if (!line.starts_with('[') || !line.ends_with(']'))
    return false;
  inside = line.substr(1, line.size() - 2);
  return true;
}

constexpr std::string_view HEADER_OPEN = "[Header]";

[[noreturn]] void notAResult(const std::string& path, const std::string& why) {
  throw CtlError(fmt::format("cannot read result {}: {}", withoutControlCharacters(path), why));
}

std::map<std::string, Values, std::less<>> readHeaders(Lines& lines, const std::string& path) {
  std::map<std::string, Values, std::less<>> headers;
  std::string_view line;
  std::string_view tag;
  if (!lines.next(line) || line != HEADER_OPEN)
    notAResult(path, "not a result file, it does not begin with [Header]");
  std::string current;
  while (lines.next(line)) {
    if (line == "[/Header]")
      return headers;
    if (isTag(line, tag))
      current = tag;
    else
      headers.emplace(current, splitValues(line));
  }
  notAResult(path, "it ends inside its header");
}

// Deeper than any result nests; bounds the recursion over a file that is none.
constexpr int MAX_DEPTH = 32;

// Reads the data lines and children of `entity` up to its close tag.
void readEntity(Lines& lines, Entity& entity, const std::string& path, int depth) {
  if (depth > MAX_DEPTH)
    notAResult(path, fmt::format("record {}: entities are nested too deeply", lines.number()));
  const std::string closeTag = "/" + entity.name;
  std::string_view line;
  std::string_view tag;
  while (lines.next(line)) {
    if (!isTag(line, tag)) {
      entity.rows.push_back(splitValues(line));
    } else if (tag == closeTag) {
      return;
    } else if (tag.starts_with('/')) {
      notAResult(path,
                 fmt::format("record {}: [{}] inside [{}]", lines.number(), tag, entity.name));
    } else {
      const std::size_t comma = std::min(tag.find(','), tag.size());
      Entity child;
      child.name = tag.substr(0, comma);
      child.qualifier = tag.substr(std::min(comma + 1, tag.size()));
      readEntity(lines, child, path, depth + 1);
      entity.children.push_back(std::move(child));
    }
  }
  notAResult(path, fmt::format("it is cut off inside [{}]", entity.name));
}

// FNV-1a, which is the same in every build: digests of many hosts meet in one history.
std::int64_t digestOf(std::string_view text) {
  std::uint64_t hash = 0xcbf29ce484222325;
  for (const char character : text)
    hash = (hash ^ static_cast<unsigned char>(character)) * 0x100000001b3;
  return static_cast<std::int64_t>(hash == 0 ? 1 : hash);
}

}  // namespace

const Entity* Entity::child(std::string_view childName, std::string_view childQualifier) const {
  for (const Entity& candidate : children)
    if (candidate.name == childName &&
        (childQualifier.empty() || candidate.qualifier == childQualifier))
      return &candidate;
  return nullptr;
}

std::string_view Record::text(std::string_view field) const {
  const auto found = std::find(m_names.begin(), m_names.end(), field);
  return found == m_names.end() ? std::string_view()
                                : m_values[static_cast<std::size_t>(found - m_names.begin())];
}

std::int64_t Record::number(std::string_view field) const {
  const std::string_view value = text(field);
  std::int64_t result = 0;
  std::from_chars(value.data(), value.data() + value.size(), result);
  return result;
}

std::vector<std::int64_t> Record::list(std::string_view field) const {
  std::vector<std::int64_t> result;
  for (const std::string& item : splitValues(text(field))) {
    result.push_back(0);
    std::from_chars(item.data(), item.data() + item.size(), result.back());
  }
  return result;
}

ResultFile ResultFile::read(const std::string& path) {
  const UniqueFd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  std::string text;
  std::array<char, 65536> buffer;
  ssize_t got = file ? 0 : -1;
  // What does not begin like a result is not read to its end, which a device may not have.
  while (file && (got = ::read(file.get(), buffer.data(), buffer.size())) > 0) {
    text.append(buffer.data(), static_cast<std::size_t>(got));
    if (!text.starts_with(HEADER_OPEN.substr(0, text.size())))
      break;
  }
  if (got < 0)
    notAResult(path, errnoText(errno));
  return parse(text, path);
}

ResultFile ResultFile::parse(std::string_view text, const std::string& path) {
  ResultFile result;
  result.m_path = path;
  result.m_digest = digestOf(text);
  Lines lines(text);
  result.m_headers = readHeaders(lines, path);
  std::string_view line;
  if (!lines.next(line) || line != "[AgentScan]")
    notAResult(path, "it holds no [AgentScan]");
  result.m_scan.name = "AgentScan";
  readEntity(lines, result.m_scan, path, 1);
  return result;
}

std::vector<Record> ResultFile::records(const Entity& entity) const {
  const auto header = m_headers.find(entity.name);
  if (header == m_headers.end())
    notAResult(m_path, fmt::format("its header does not name {}", entity.name));
  std::vector<Record> result;
  for (const Values& row : entity.rows) {
    if (row.size() != header->second.size())
      notAResult(m_path, fmt::format("a record of {} has {} values where its header names {}",
                                     entity.name, row.size(), header->second.size()));
    result.emplace_back(header->second, row);
  }
  return result;
}

}  // namespace orv::ctl
