#include "runtime/nls/MessageLog.h"

#include <fmt/args.h>
#include <fmt/format.h>

#include <cstdio>

#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

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

std::string joined(const std::vector<Insert>& inserts) {
  std::string all;
  for (const Insert& insert : inserts)
    all += (all.empty() ? "" : " ") + insert.text();
  return all;
}

}  // namespace

MessageLog* naLog = nullptr;

Insert::Insert(std::string_view text) : m_text(limited(withoutControlCharacters(text))) {}

Insert Insert::lines(std::string_view text) {
  Insert insert;
  insert.m_text = limited(std::string(text));
  return insert;
}

MessageLog::MessageLog(const MessageCatalog& catalog, std::unique_ptr<ActivityLogWriter> writer)
    : m_catalog(catalog), m_writer(std::move(writer)) {
  naLog = this;
}

MessageLog::~MessageLog() {
  if (naLog == this)
    naLog = nullptr;
}

void MessageLog::issue(const Message& message, const std::vector<Insert>& inserts) {
  const std::string line = format(message, inserts);
  TRACE(TR_GENERAL, "message %s", line.c_str());
  const int rc = m_writer->LogActivityLog(line);
  if (rc == 0)
    return;
  TRACE(TR_ERROR, "activity log not written, rc %d: %s", rc, line.c_str());
  noteLost(message, line);
}

void MessageLog::noteLost(const Message& message, const std::string& line) {
  // The severity is the last letter of the ID.
  const std::string_view id(message.id);
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
