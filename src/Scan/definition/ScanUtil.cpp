#include "Scan/definition/ScanUtil.h"

#include <algorithm>
#include <cctype>

#include "runtime/nls/MessageLog.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

struct NameText {
  std::string_view key;
  Message message;
};

// clang-format off
constexpr NameText NAME_TEXTS[] = {
    {"SQL_NAME_ATRISK",          msg::STA0540T},
    {"SQL_NAME_BYACCESS",        msg::STA0541T},
    {"SQL_NAME_BYCREATION",      msg::STA0542T},
    {"SQL_NAME_BYMODIFICATION",  msg::STA0543T},
    {"SQL_NAME_BYMOD",           msg::STA0544T},
    {"SQL_NAME_FILE_SIZE",       msg::STA0545T},
    {"SQL_NAME_LARGESTDIR",      msg::STA0546T},
    {"SQL_NAME_LARGESTFILES",    msg::STA0547T},
    {"SQL_NAME_LARGESTORPHANS",  msg::STA0548T},
    {"SQL_NAME_OBSOLETEFILES",   msg::STA0549T},
    {"SQL_NAME_OLDESTORPHANS",   msg::STA0550T},
    {"SQL_NAME_SUMMARY_FILEEXT", msg::STA0551T},
    {"SQL_NAME_SUMMARY_FILESYS", msg::STA0552T},
    {"SQL_NAME_SUMMARY_GROUP",   msg::STA0553T},
    {"SQL_NAME_SUMMARY_OWNER",   msg::STA0554T},
    {"SQL_NAME_TEMPFILES",       msg::STA0555T},
    {"SQL_NAME_WASTED",          msg::STA0556T},
};
// clang-format on

// No qualified name is shorter.
constexpr std::size_t SHORTEST_QUALIFIED_NAME = 9;

bool isSeparator(char c) {
  return std::isspace(static_cast<unsigned char>(c)) != 0;
}

std::string translated(std::string_view name) {
  const auto row = std::find_if(std::begin(NAME_TEXTS), std::end(NAME_TEXTS),
                                [name](const NameText& text) { return text.key == name; });
  // Names that people gave are no keys; without a log there is no catalog to look into.
  if (row == std::end(NAME_TEXTS) || naLog == nullptr)
    return std::string(name);
  std::string text = naLog->text(row->message);
  return text.empty() ? std::string(name) : text;
}

}  // namespace

bool isEmpty(std::string_view text) {
  TRACE(TR_ENTER, "Enter: %s", "isEmpty(...)");
  const bool empty = text.empty() || text == " ";
  TRACE(TR_EXIT, "Exit: %s; rc = %s\n", "isEmpty(...)", empty ? "true" : "false");
  return empty;
}

std::string nextWord(std::string_view text, std::size_t start) {
  TRACE_METHOD("nextWord(...)");
  const std::string_view rest = text.substr(std::min(start, text.size()));
  const auto begin = std::find_if_not(rest.begin(), rest.end(), isSeparator);
  return std::string(begin, std::find_if(begin, rest.end(), isSeparator));
}

std::string getTranslatedName(std::string_view name, std::span<const std::string> qualifiers) {
  TRACE_METHOD("getTranslatedName(...)");
  if (name.size() < SHORTEST_QUALIFIED_NAME)
    return translated(name);
  for (const std::string& qualifier : qualifiers) {
    const std::string prefix = qualifier + ".";
    if (name.starts_with(prefix))
      return prefix + translated(name.substr(prefix.size()));
  }
  return translated(name);
}

bool stringsEqual(std::string_view a, std::string_view b) {
  TRACE_METHOD("stringsEqual(...)");
  return a == b;
}

bool stringsEqualIgnoreCase(std::string_view a, std::string_view b) {
  TRACE_METHOD("stringsEqualIgnoreCase(...)");
  return equalIgnoringCase(a, b);
}

}  // namespace orv
