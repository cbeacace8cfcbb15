#include "runtime/nls/MessageLog.h"

#include <fmt/args.h>
#include <fmt/format.h>
#include <langinfo.h>

#include <clocale>
#include <cstdio>

#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

// The one set of the catalog's source.
constexpr int MESSAGE_SET = 1;

// An empty insert would leave a hole in its sentence, one without limit make lines that no reader
// of logs takes.
std::string limited(std::string text) {
  if (text.empty())
    return NULL_INSERT;
  if (text.size() > MAX_INSERT_LENGTH)
    text.resize(MAX_INSERT_LENGTH);
  return text;
}

std::string fillPlaces(const std::string& text, const std::vector<Insert>& inserts) {
  fmt::dynamic_format_arg_store<fmt::format_context> arguments;
  for (const Insert& insert : inserts)
    arguments.push_back(insert.text());
  return fmt::vformat(text, arguments);
}

// For when there is no text that fits: the inserts tell at least what the message is about.
std::string joined(const std::vector<Insert>& inserts) {
  std::string all;
  for (const Insert& insert : inserts)
    all += (all.empty() ? "" : " ") + insert.text();
  return all;
}

}  // namespace

bool MessageCatalog::open(const std::string& directory, const std::string& file,
                          const std::string& component) {
  close();
  // Character handling follows the user's locale where it is UTF-8, else C.UTF-8: names are UTF-8
  // far more often than not, and numbers are never formatted through the locale.
  if (std::setlocale(LC_CTYPE, "") == nullptr || std::string(::nl_langinfo(CODESET)) != "UTF-8")
    std::setlocale(LC_CTYPE, "C.UTF-8");
  const std::string path = directory + "/" + file;
  // By its path, so that no search path of the environment finds another one.
  m_catalog = ::catopen(path.c_str(), NL_CAT_LOCALE);
  m_isOpen = m_catalog != reinterpret_cast<nl_catd>(-1);
  TRACE(TR_GENERAL, "message catalog %s of component %s: %s", path.c_str(), component.c_str(),
        m_isOpen ? "open" : "not there");
  return m_isOpen;
}

void MessageCatalog::close() noexcept {
  if (m_isOpen)
    ::catclose(m_catalog);
  m_isOpen = false;
}

std::string MessageCatalog::text(int number) const {
  return m_isOpen ? ::catgets(m_catalog, MESSAGE_SET, number, "") : "";
}

MessageLog* naLog = nullptr;

Insert::Insert(std::string_view text) : m_text(limited(withoutControlCharacters(text))) {}

Insert Insert::lines(std::string_view text) {
  Insert insert;
  insert.m_text = limited(std::string(text));
  return insert;
}

MessageLog::MessageLog(const MessageCatalog& catalog, std::unique_ptr<ActivityLogWriter> writer)
    : m_catalog(catalog), m_writer(std::move(writer)) {
  // The newest log is the one: the job has one at a time.
  naLog = this;
}

MessageLog::~MessageLog() {
  // A newer log may have taken its place.
  if (naLog == this)
    naLog = nullptr;
}

void MessageLog::issue(const Message& message, const std::vector<Insert>& inserts) {
  write(format(message, inserts));
}

void MessageLog::repeat(const std::string& line) {
  write(line);
}

void MessageLog::write(const std::string& line) {
  TRACE(TR_GENERAL, "message %s", line.c_str());
  const int rc = m_writer->LogActivityLog(line);
  if (rc == 0)
    return;
  TRACE(TR_ERROR, "activity log not written, rc %d: %s", rc, line.c_str());
  noteLost(line);
}

void MessageLog::noteLost(const std::string& line) {
  // The severity is the last letter of the ID, which comes first.
  const std::string_view id = std::string_view(line).substr(0, line.find(' '));
  // Once: on a full disk every further message is lost, too.
  if (m_hasLostWarnings || id.empty() || (id.back() != 'W' && id.back() != 'E'))
    return;
  m_hasLostWarnings = true;
  std::fprintf(stderr, "write the activity log: %s; the first message lost: %s\n",
               errnoText(m_writer->systemError()).c_str(), line.c_str());
}

std::string MessageLog::format(const Message& message, const std::vector<Insert>& inserts) const {
  const std::string catalogText = text(message);
  std::string filled;
  try {
    // A catalog of another version may have fewer places, or none: the message still says what it
    // is about.
    filled = fillPlaces(catalogText, inserts);
  } catch (const fmt::format_error& error) {
    TRACE(TR_ERROR, "catalog text of %s does not fit its inserts: %s", message.id, error.what());
  }
  if (filled.empty())
    filled = joined(inserts);
  return std::string(message.id) + " " + filled;
}

std::string MessageLog::text(const Message& message) const {
  return m_catalog.text(message.number);
}

void issueMessage(const Message& message, const std::vector<Insert>& inserts) {
  if (naLog != nullptr)
    naLog->issue(message, inserts);
}

}  // namespace orv
