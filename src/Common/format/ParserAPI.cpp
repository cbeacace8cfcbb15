#include "Common/format/ParserAPI.h"

#include <pcrecpp.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <limits>
#include <memory>

#include "runtime/ut/ORVException.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

constexpr int PATH_EMPTY = 12;
constexpr int OPEN_FAILED = 13;
constexpr int READ_FAILED = 17;
constexpr int NO_SUCH_HEADER = 321;

constexpr const char* OPEN_FAILED_TEXT = "ERROR, not able to open scan definition file\n";
constexpr std::string_view HEADER_OPEN = "[Header]";
constexpr std::string_view HEADER_CLOSE = "[/Header]";
constexpr std::string_view BLANKS = "\t\n\r\f ";

const pcrecpp::RE OPEN_TAG(R"re((^\s*\[){1}([a-zA-Z0-9]+,?[a-zA-Z0-9]+)(\]$){1})re");
const pcrecpp::RE CLOSE_TAG(R"re((^\s*\[/){1}([a-zA-Z0-9]+)(\]$){1})re");

pcrecpp::StringPiece piece(std::string_view line) {
  return {line.data(), static_cast<int>(line.size())};
}

// Both patterns end in a bracket, which spares nearly every data line the match.
bool mayBeTag(std::string_view line) {
  return line.ends_with(']');
}

// The text between the brackets of an open tag; nothing for any other line.
std::optional<std::string> openTag(std::string_view line) {
  std::string bracket;
  std::string tag;
  if (mayBeTag(line) && OPEN_TAG.FullMatch(piece(line), &bracket, &tag))
    return tag;
  return std::nullopt;
}

std::optional<std::string> entityTag(std::string_view line) {
  return line == HEADER_OPEN ? std::nullopt : openTag(line);
}

bool isCloseTag(std::string_view line) {
  return mayBeTag(line) && line != HEADER_CLOSE && CLOSE_TAG.FullMatch(piece(line));
}

bool endsRows(std::string_view line) {
  return line.empty() ||
         (mayBeTag(line) && (OPEN_TAG.FullMatch(piece(line)) || CLOSE_TAG.FullMatch(piece(line))));
}

std::string closeTagOf(const std::string& name) {
  return "[/" + name + "]";
}

std::string unquoted(std::string_view text) {
  std::string value;
  value.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    value += text[i];
    if (text.substr(i, 2) == "\"\"")
      ++i;
  }
  return value;
}

std::string valueOf(std::string_view text) {
  if (text.size() >= 2 && text.starts_with('"') && text.ends_with('"'))
    return unquoted(text.substr(1, text.size() - 2));
  return text == "null" ? std::string() : std::string(text);
}

// An empty piece yields no value, so that the values behind it move one column to the left:
// deliberate, writers put "null" for an empty value.
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

// A directory opens like a file and fails at the first read only, hence the look at its first byte.
void ParserAPI::open() {
  errno = 0;
  m_stream.open(m_path, std::ios::in | std::ios::binary);
  if (m_stream.is_open())
    m_stream.peek();
  if (!m_stream.is_open() || m_stream.bad()) {
    const int error = errno;
    TRACE(TR_ERROR, "ERROR opening the file '%s'.", m_path.c_str());
    TRACE(TR_ERROR, "open %s: %s", m_path.c_str(), errnoText(error).c_str());
    m_stream.clear();
    m_stream.close();
    throw ORVParserException(OPEN_FAILED, OPEN_FAILED_TEXT);
  }
  m_stream.clear();
  if (!m_stream.seekg(0)) {
    TRACE(TR_ERROR, "(raf.fail()) == TRUE. Will throw exception ORVParserException.");
    throw ORVParserException(OPEN_FAILED, OPEN_FAILED_TEXT);
  }
}

void ParserAPI::readHeader() {
  std::string key;
  bool headerFound = false;
  while (const auto line = readLine("initialize(bool needNumEntities)")) {
    if (!headerFound) {
      headerFound = *line == HEADER_OPEN;
      if (headerFound)
        TRACE(TR_GENERAL, "Header found\n");
    } else if (const auto tag = openTag(*line)) {
      key = *tag;
    } else if (*line == HEADER_CLOSE) {
      TRACE(TR_GENERAL, "Close header found\n");
      return;
    } else if (!line->empty()) {
      m_headerTable.emplace(key, split(*line));
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
      resumePosition = m_position;
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
  if (m_header == m_headerTable.end() || m_header->first != name)
    m_header = m_headerTable.find(name);
  if (m_header == m_headerTable.end()) {
    TRACE(TR_ERROR, "Element %s not found on headerTable\n", name.c_str());
    throw ORVParserException(NO_SUCH_HEADER, "Element %s not found on headerTable\n", name);
  }
  TRACE(TR_GENERAL, "iterator access worked!!\n");
  return m_header->second;
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
  for (int i = 0; (count == ALL_ROWS || i <= count) && !m_stream.eof(); ++i) {
    const auto line = readLine(OPERATION);
    if (!line)
      fail("getLine()", OPERATION);
    TRACE(TR_GENERAL, "Line: %s\n", std::string(*line).c_str());
    if (endsRows(*line) || i == count)
      break;
    rows.push_back(split(*line));
    e->filePointer = static_cast<std::int32_t>(m_position);
    if (count != ALL_ROWS)
      e->dataPointer = e->filePointer;
  }
  return rows;
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
        if (depth++ == 0)
          children.emplace_back(newEntity(*tag));
      } else if (isCloseTag(*line) && depth-- == 0 && *line == closeTag) {
        break;
      }
    }
  } catch (const std::exception& error) {
    std::printf("ERROR%s\n", error.what());
  }
  std::vector<Entity*> released;
  released.reserve(children.size());
  for (auto& child : children)
    released.push_back(child.release());
  return released;
}

// The next line without the blanks around it; nothing at the end of the file. The position is
// counted along, for the stream has none to tell behind a last line without a line break.
std::optional<std::string_view> ParserAPI::readLine(const char* operation) {
  if (!std::getline(m_stream, m_line)) {
    if (m_stream.bad())
      fail("getLine()", operation);
    return std::nullopt;
  }
  m_position += static_cast<std::int64_t>(m_line.size()) + (m_stream.eof() ? 0 : 1);
  if (m_position > std::numeric_limits<std::int32_t>::max())
    fail("getLine() beyond 2 GiB", operation);
  TRACE(TR_GENERAL, "while(getline(raf, line)) : %s.", m_line.c_str());
  return trimmed(m_line, BLANKS);
}

void ParserAPI::seek(std::int64_t position, const char* operation) {
  m_stream.clear();
  if (!m_stream.seekg(position))
    fail("seekg()", operation);
  m_position = position;
}

// `tag` is the text between the brackets of the line that was read last.
ParserAPI::Entity* ParserAPI::newEntity(const std::string& tag) const {
  const auto behind = static_cast<std::int32_t>(m_position);
  const auto comma = tag.find(',');
  const std::string qualifier = comma == std::string::npos ? "" : tag.substr(comma + 1);
  return new Entity{tag.substr(0, comma), behind, behind, qualifier};
}

void ParserAPI::fail(const char* call, const char* operation) const {
  std::string text = std::string("ERROR on executing ") + call + " in ParserAPI::" + operation +
                     ". ERRORCODE: " + std::to_string(READ_FAILED) + " File Name: " + m_path;
  TRACE(TR_ERROR, "%s", text.c_str());
  throw ORVParserException(READ_FAILED, std::move(text));
}

}  // namespace orv
