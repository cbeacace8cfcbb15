#include "Common/format/ParserAPI.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <memory>

#include "Common/format/TagPattern.h"
#include "runtime/ut/ORVException.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

// The job ends with these codes: whoever started it tells by them what was wrong with the file.
constexpr int PATH_EMPTY = 12;
constexpr int OPEN_FAILED = 13;
constexpr int READ_FAILED = 17;
constexpr int NO_SUCH_HEADER = 321;

constexpr const char* OPEN_FAILED_TEXT = "ERROR, not able to open scan definition file\n";
constexpr std::string_view HEADER_OPEN = "[Header]";
constexpr std::string_view HEADER_CLOSE = "[/Header]";
constexpr std::string_view BLANKS = "\t\n\r\f ";
constexpr int MAX_NAMED_LEVELS = 1000;

// The patterns are compiled when they are first asked, not before main, where a want of memory
// would end the process with nobody told.
const TagPattern& openPattern() {
  static const TagPattern pattern(R"re((^\s*\[){1}([a-zA-Z0-9]+,?[a-zA-Z0-9]+)(\]$){1})re");
  return pattern;
}

const TagPattern& closePattern() {
  static const TagPattern pattern(R"re((^\s*\[/){1}([a-zA-Z0-9]+)(\]$){1})re");
  return pattern;
}

bool isNameCharacter(char c) noexcept {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// Whether the patterns need to be asked. They would try every way to divide a long line that only
// begins like a tag, so the characters are looked at first.
bool mayBeTag(std::string_view line) noexcept {
  const auto open = line.find('[');
  if (open == std::string_view::npos || !line.ends_with(']'))
    return false;
  std::string_view name = line.substr(open + 1, line.size() - open - 2);
  if (name.starts_with('/'))
    name.remove_prefix(1);
  const auto comma =
      static_cast<std::size_t>(std::ranges::find_if_not(name, isNameCharacter) - name.begin());
  const std::string_view rest = name.substr(std::min(comma + 1, name.size()));
  return comma == name.size() ||
         (name[comma] == ',' && !rest.empty() && std::ranges::all_of(rest, isNameCharacter));
}

// The text between the brackets of an open tag; nothing for any other line.
std::optional<std::string> openTag(std::string_view line) {
  std::string bracket;
  std::string tag;
  if (mayBeTag(line) && openPattern().matches(line, &bracket, &tag))
    return tag;
  return std::nullopt;
}

// The tag that opens the header looks like that of an entity.
std::optional<std::string> entityTag(std::string_view line) {
  return line == HEADER_OPEN ? std::nullopt : openTag(line);
}

bool isCloseTag(std::string_view line) {
  return mayBeTag(line) && line != HEADER_CLOSE && closePattern().matches(line);
}

bool endsRows(std::string_view line) {
  return line.empty() ||
         (mayBeTag(line) && (openPattern().matches(line) || closePattern().matches(line)));
}

std::string closeTagOf(const std::string& name) {
  return "[/" + name + "]";
}

std::string unquoted(std::string_view text) {
  std::string value;
  value.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    value += text[i];
    // A quote inside of quotes is written twice.
    if (text.substr(i, 2) == "\"\"")
      ++i;
  }
  return value;
}

std::string valueOf(std::string_view text) {
  if (text.size() >= 2 && text.starts_with('"') && text.ends_with('"'))
    return unquoted(text.substr(1, text.size() - 2));
  // Between quotes the word is a value: something may be called so.
  return text == "null" ? std::string() : std::string(text);
}

// An empty piece yields no value, so that the values behind it move one column to the left:
// deliberate, writers put "null" for an empty value. Of more than MAX_FIELDS values the rest is not
// kept, so that a line of nothing but commas takes no more memory than its text.
std::vector<std::string> split(std::string_view line) {
  std::vector<std::string> values;
  std::size_t start = 0;
  bool isQuoted = false;
  for (std::size_t i = 0; i <= line.size(); ++i) {
    if (i < line.size() && line[i] == '"')
      isQuoted = !isQuoted;
    if (i < line.size() && (line[i] != ',' || isQuoted))
      continue;
    if (i > start)
      values.push_back(valueOf(line.substr(start, i - start)));
    // One more than any record may have: whoever takes the line sees that it has too many.
    if (values.size() > MAX_FIELDS)
      break;
    start = i + 1;
  }
  return values;
}

}  // namespace

ParserAPI::ParserAPI(const std::string& file, bool needNumEntities) : m_path(file) {
  TRACE_METHOD("ParserAPI(...)");
  TRACE(TR_GENERAL, "Path to the scan definition file: %s\n", file.c_str());
  if (file.empty())
    throw ORVParserException(PATH_EMPTY, "Error, path to scan definition file empty\n");
  initialize(needNumEntities);
}

void ParserAPI::initialize(bool needNumEntities) {
  TRACE_METHOD("initialize(...)");
  open();
  if (needNumEntities)
    countEntities();
  else
    readHeader();
}

void ParserAPI::open() {
  if (m_file.open(m_path))
    return;
  const int error = errno;
  TRACE(TR_ERROR, "ERROR opening the file '%s'.", m_path.c_str());
  TRACE(TR_ERROR, "open %s: %s", m_path.c_str(), errnoText(error).c_str());
  throw ORVParserException(OPEN_FAILED, OPEN_FAILED_TEXT).because("open it: " + errnoText(error));
}

void ParserAPI::readHeader() {
  std::string key;
  while (const auto line = readLine("initialize(bool needNumEntities)")) {
    if (!m_hasHeader) {
      m_hasHeader = *line == HEADER_OPEN;
      if (m_hasHeader)
        TRACE(TR_GENERAL, "Header found\n");
    } else if (const auto tag = openTag(*line)) {
      key = *tag;
    } else if (*line == HEADER_CLOSE) {
      TRACE(TR_GENERAL, "Close header found\n");
      m_headerEnd = m_file.position();
      return;
    } else if (!line->empty()) {
      // The first line counts where a tag declares its fields twice.
      m_headerTable.emplace(key, *line);
    }
  }
}

// Deliberately simple: the header's own tags count like an entity's and nesting is not followed.
// A header that opens with the name of the file's one top-level entity makes the count come out.
void ParserAPI::countEntities() {
  static constexpr const char* OPERATION = "initialize(bool needNumEntities)";
  bool inEntity = false;
  std::string closeTag;
  std::int64_t resumePosition = 0;
  while (const auto line = readLine(OPERATION)) {
    if (!inEntity && line->starts_with('[') && *line != HEADER_OPEN) {
      closeTag = "[/" + std::string(line->substr(1));
      inEntity = true;
    }
    if (!inEntity)
      continue;
    if (*line == closeTag) {
      m_entityCount.emplace(getNumEntities(), closeTag);
      inEntity = false;
    } else if (*line == HEADER_CLOSE) {
      resumePosition = m_file.position();
    }
  }
  seek(resumePosition, OPERATION);
}

ParserAPI::Entity* ParserAPI::findFirstEntity(bool lookForHeader) {
  TRACE_METHOD("findFirstEntity(...)");
  bool mayEndHeader = lookForHeader;
  while (const auto line = readLine("findFirstEntity()")) {
    if (mayEndHeader && *line == HEADER_CLOSE) {
      TRACE(TR_GENERAL, "Close header found\n");
      continue;
    }
    // Only as the first line: further on it is a tag like any other.
    mayEndHeader = false;
    if (const auto tag = entityTag(*line))
      return newEntity(*tag);
  }
  return nullptr;
}

ParserAPI::Entity* ParserAPI::findNextEntity(Entity* ef) {
  TRACE_METHOD("findNextEntity(...)");
  if (ef == nullptr)
    return findFirstEntity(false);
  TRACE(TR_GENERAL, "Trying seekg on FilePointer %d --- In Entity %s", ef->filePointer,
        ef->name.c_str());
  seek(ef->filePointer, "findNextEntity()");
  const std::string closeTag = closeTagOf(ef->name);
  int depth = 0;
  while (const auto line = readLine("findNextEntity()")) {
    if (entityTag(*line)) {
      ++depth;
    } else if (isCloseTag(*line)) {
      // A foreign close tag takes the depth below zero: deliberate, the walk of an unbalanced file
      // then looks for further close tags.
      if (depth-- == 0 && *line == closeTag)
        break;
    }
  }
  return findFirstEntity(false);
}

HeaderArray ParserAPI::getEntityHeader(const std::string& name) {
  TRACE_METHOD("getEntityHeader(...)");
  // Rows of one entity follow one another: the last header is mostly the one.
  if (m_header == m_headerTable.end() || m_header->first != name)
    m_header = m_headerTable.find(name);
  if (m_header == m_headerTable.end()) {
    TRACE(TR_ERROR, "Element %s not found on headerTable\n", name.c_str());
    throw ORVParserException(NO_SUCH_HEADER, "Element %s not found on headerTable\n")
        .because("its header declares no fields of " + name);
  }
  TRACE(TR_GENERAL, "iterator access worked!!\n");
  return split(m_header->second);
}

DataArray ParserAPI::getEntityData(Entity* e, int count) {
  static constexpr const char* OPERATION = "getEntityData()";
  TRACE_METHOD("getEntityData(...)");
  if (e == nullptr) {
    TRACE(TR_MAX, "Entity is NULL. Leaving method.");
    return {};
  }
  DataArray rows;
  seek(e->dataPointer, OPERATION);
  for (int i = 0; (count == ALL_ROWS || i <= count) && !m_file.isAtEnd(); ++i) {
    const auto line = readLine(OPERATION);
    if (!line)
      fail("getLine()", OPERATION, "it ends inside of the entity " + e->name);
    TRACE(TR_GENERAL, "Line: %s\n", std::string(*line).c_str());
    if (endsRows(*line) || i == count)
      break;
    rows.push_back(split(*line));
    // It fits: a file is refused as soon as it is read beyond 2 GiB.
    e->filePointer = static_cast<std::int32_t>(m_file.position());
    if (count != ALL_ROWS)
      e->dataPointer = e->filePointer;
  }
  return rows;
}

bool ParserAPI::getEntityRow(Entity& e, std::vector<std::string>& row) {
  static constexpr const char* OPERATION = "getEntityData()";
  // The file ends behind that row without a line break; another look would find it cut off.
  if (e.dataPointer == m_endOfLastRow)
    return false;
  seek(e.dataPointer, OPERATION);
  const auto line = readLine(OPERATION);
  if (!line)
    fail("getLine()", OPERATION, "it ends inside of the entity " + e.name);
  TRACE(TR_GENERAL, "Line: %s\n", std::string(*line).c_str());
  if (endsRows(*line))
    return false;
  row = split(*line);
  e.filePointer = e.dataPointer = static_cast<std::int32_t>(m_file.position());
  if (m_file.isAtEnd())
    m_endOfLastRow = e.dataPointer;
  return true;
}

std::vector<ParserAPI::Entity*> ParserAPI::getEntityChildren(Entity* parent) {
  TRACE_METHOD("getEntityChildren(...)");
  if (parent == nullptr) {
    TRACE(TR_MAX, "Entity is NULL. Leaving method.");
    return {};
  }
  std::vector<std::unique_ptr<Entity>> children;
  try {
    seek(parent->filePointer, "getEntityChildren()");
    const std::string closeTag = closeTagOf(parent->name);
    int depth = 0;
    while (const auto line = readLine("getEntityChildren()")) {
      if (const auto tag = entityTag(*line)) {
        // What lies deeper is counted only: every child finds its own children.
        if (depth++ == 0)
          children.emplace_back(newEntity(*tag));
      } else if (isCloseTag(*line) && depth-- == 0 && *line == closeTag) {
        break;
      }
    }
  } catch (const std::exception& error) {
    std::printf("ERROR%s\n", error.what());
    // Kept for the builder: this call has no way to fail.
    m_hasLostChildren = true;
  }
  std::vector<Entity*> released;
  // From here on nothing may fail, or the bare pointers would have no owner.
  released.reserve(children.size());
  for (auto& child : children)
    released.push_back(child.release());
  return released;
}

std::string ParserAPI::imbalance() {
  static constexpr const char* OPERATION = "imbalance()";
  std::vector<OpenEntity> open;
  int depth = 0;
  // Behind the header, whose tags are opened and not closed.
  seek(m_headerEnd, OPERATION);
  for (std::int64_t begin = m_headerEnd; const auto line = readLine(OPERATION);
       begin = m_file.position()) {
    if (const auto tag = entityTag(*line)) {
      // Deeper ones are counted only: no definition nests so deep, but its file may.
      if (depth++ < MAX_NAMED_LEVELS)
        open.push_back({tag->substr(0, tag->find(',')), begin});
    } else if (isCloseTag(*line) && depth-- <= MAX_NAMED_LEVELS) {
      if (open.empty() || *line != closeTagOf(open.back().name))
        return describeClose(std::string(*line), begin, open);
      open.pop_back();
    }
  }
  if (depth == 0)
    return {};
  return "the entity " + open.back().name + " that opens in line " +
         std::to_string(lineNumber(open.back().position)) + " is not closed";
}

std::string ParserAPI::describeClose(const std::string& tag, std::int64_t position,
                                     const std::vector<OpenEntity>& open) {
  const std::string text =
      "the tag " + tag + " in line " + std::to_string(lineNumber(position)) + " closes nothing";
  return open.empty() ? text
                      : text + ", for " + open.back().name + " of line " +
                            std::to_string(lineNumber(open.back().position)) + " is open";
}

long long ParserAPI::lineNumber(std::int64_t position) {
  static constexpr const char* OPERATION = "lineNumber()";
  // Counted anew each time: only messages ask for it.
  long long number = 1;
  seek(0, OPERATION);
  while (m_file.position() < position && readLine(OPERATION))
    ++number;
  return number;
}

// The next line without the blanks around it; nothing at the end of the file.
std::optional<std::string_view> ParserAPI::readLine(const char* operation) {
  switch (m_file.next(m_line)) {
    case LineFile::Read::END:
      return std::nullopt;
    case LineFile::Read::FAILED:
      fail("getLine()", operation, "read it: " + errnoText(errno));
    case LineFile::Read::TOO_LARGE:
      fail("getLine() beyond 2 GiB", operation, "it is larger than 2 GiB");
    case LineFile::Read::LINE:
      break;
  }
  TRACE(TR_GENERAL, "while(getline(raf, line)) : %s.", m_line.c_str());
  return trimmed(m_line, BLANKS);
}

void ParserAPI::seek(std::int64_t position, const char* operation) {
  if (position < 0)
    fail("seekg()", operation, "a position in it cannot be reached");
  m_file.seek(position);
}

// `tag` is the text between the brackets of the line that was read last.
ParserAPI::Entity* ParserAPI::newEntity(const std::string& tag) const {
  const auto behind = static_cast<std::int32_t>(m_file.position());
  const auto comma = tag.find(',');
  const std::string qualifier = comma == std::string::npos ? "" : tag.substr(comma + 1);
  return new Entity{tag.substr(0, comma), behind, behind, qualifier};
}

void ParserAPI::fail(const char* call, const char* operation, const std::string& reason) const {
  // The text is one that programs look for, so what people need to know stands in the reason.
  std::string text = std::string("ERROR on executing ") + call + " in ParserAPI::" + operation +
                     ". ERRORCODE: " + std::to_string(READ_FAILED) + " File Name: " + m_path;
  TRACE(TR_ERROR, "%s", text.c_str());
  throw ORVParserException(READ_FAILED, std::move(text)).because(reason);
}

}  // namespace orv
