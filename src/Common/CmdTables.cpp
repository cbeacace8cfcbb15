#include "Common/CmdTables.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

#include "runtime/ut/Text.h"

namespace orv {
namespace {

// Handlers, one template per kind of value. -----------------------------------------------------

// A text that can stand as a template's argument: what an option says when its value is missing.
template <std::size_t Size>
struct MissingText {
  // Implicit, so that the table rows can hold plain literals.
  constexpr MissingText(const char (&text)[Size]) { std::copy_n(text, Size, chars); }  // NOLINT
  char chars[Size]{};
};

int fail(CmdArgs& record, int code, const char* text) {
  record.errorText = text;
  return code;
}

int decimal(const char* text) {
  return static_cast<int>(std::strtol(text, nullptr, 10));
}

template <auto Field, MissingText Missing>
int number(const char* value, CmdArgs& record) {
  if (value == nullptr)
    return fail(record, CMD_VALUE_MISSING, Missing.chars);
  record.*Field = decimal(value);
  return CMD_OK;
}

template <auto Field, MissingText Missing>
int orMinusOne(const char* value, CmdArgs& record) {
  if (value == nullptr)
    record.*Field = -1;
  return number<Field, Missing>(value, record);
}

template <auto Field, MissingText Missing>
int text(const char* value, CmdArgs& record) {
  if (value == nullptr)
    return fail(record, CMD_VALUE_MISSING, Missing.chars);
  record.*Field = value;
  return CMD_OK;
}

// A leading quote takes the last character with it, whatever that is.
std::string withoutQuotes(const std::string& value) {
  if (!value.starts_with('"'))
    return value;
  return value.size() < 2 ? std::string() : value.substr(1, value.size() - 2);
}

int jobName(const char* value, CmdArgs& record) {
  if (value != nullptr)
    record.jobName = withoutQuotes(value);
  return CMD_OK;
}

int profile(const char* value, CmdArgs& record) {
  if (value == nullptr)
    return fail(record, CMD_VALUE_MISSING, "scan profile not specified");
  record.scanProfile = withoutQuotes(value);
  return CMD_OK;
}

int maxLogSize(const char* value, CmdArgs& record) {
  const int code = orMinusOne<&CmdArgs::maxLogSize, "maxLogSize not specified">(value, record);
  if (record.maxLogSize == 0)
    record.maxLogSize = 1024;
  return code;
}

// "<read end>,<write end>" of the agent's pipe, numbers only: whoever runs the job closes the one
// and writes to the other, others merely read the command line.
int agentCom(const char* value, CmdArgs& record) {
  if (value == nullptr)
    return fail(record, CMD_VALUE_MISSING, "agentCom not specified");
  const char* comma = std::strchr(value, ',');
  record.agentDescriptor = decimal(value);
  const int ownEnd = comma == nullptr ? 0 : decimal(comma + 1);
  if (ownEnd != 0)
    record.statusDescriptor = ownEnd;
  return CMD_OK;
}

struct DebugLevel {
  std::string_view mode;
  int level;
};
constexpr DebugLevel DEBUG_LEVELS[] = {{"MIN", 3}, {"MID", 2}, {"MAX", 1}};

int debug(const char* value, CmdArgs& record) {
  if (value == nullptr)
    return fail(record, CMD_VALUE_MISSING, "Debug mode not specified");
  const auto* const found =
      std::find_if(std::begin(DEBUG_LEVELS), std::end(DEBUG_LEVELS),
                   [value](const DebugLevel& row) { return row.mode == value; });
  if (found == std::end(DEBUG_LEVELS))
    return fail(record, CMD_INVALID_PARAMETER, "Invalid debug mode");
  record.debugMode = found->mode;
  record.debugLevel = found->level;
  return CMD_OK;
}

// Tables. ---------------------------------------------------------------------------------------

// clang-format off
constexpr CmdEntry SCAN_COMMANDS[] = {
    {"scan",    CmdArgs::MODE_SCAN,    false, nullptr},
    {"version", CmdArgs::MODE_VERSION, false, nullptr},
    {"",             0,                     false, nullptr}};

constexpr CmdEntry SCAN_OPTIONS[] = {
    {"agentcom",     0, true, agentCom},
    {"debug",        1, true, debug},
    {"jobname",      2, true, jobName},
    {"jobrunnumber", 3, true, orMinusOne<&CmdArgs::jobRunNumber, "jobRunNumber not specified">},
    {"maxlogsize",   4, true, maxLogSize},
    {"maxnumlogs",   5, true, number<&CmdArgs::maxNumLogs, "maxNumLogs not specified">},
    {"maxnumruns",   6, true, number<&CmdArgs::maxNumRuns, "maxNumRuns not specified">},
    {"maxnumdays",   7, true, number<&CmdArgs::maxNumDays, "maxNumDays not specified">},
    {"nfstimeout",   8, true, number<&CmdArgs::nfsTimeout, "nfsTimeout not specified">},
    {"serverip",     9, true, text<&CmdArgs::serverIP, "ServerIp not specified">},
    {"servername",  10, true, text<&CmdArgs::serverName, "ServerName not specified">},
    {"serverport",  11, true, orMinusOne<&CmdArgs::serverPort, "ServerPort not specified">},
    {"sidrunnumber",12, true, number<&CmdArgs::sidRunNumber, "sidRunNumber not specified">},
    {"profile",     13, true, profile},
    {"installloc",  14, true, text<&CmdArgs::installLoc, "installLoc not specified">},
    {"debugfile",   15, true, text<&CmdArgs::debugfile, "debugfile not specified">},
    {"logname",     16, true, text<&CmdArgs::logname, "logname not specified">},
    {"",             0, false, nullptr}};

// Rows are modes (none, scan, version), columns are those of the options above. The version can be
// asked of a program anywhere, so its command takes the install location and nothing else.
constexpr MatrixRow SCAN_MATRIX[] = {
    {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0},
    {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1},
    {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0}};
// clang-format on
static_assert(std::size(SCAN_OPTIONS) == OPTION_COUNT + 1);

constexpr CmdTables SCAN_TABLES{SCAN_COMMANDS, SCAN_OPTIONS, SCAN_MATRIX};

constexpr CmdEntry NO_ENTRIES[] = {{"", 0, false, nullptr}};
constexpr CmdTables NO_TABLES{NO_ENTRIES, NO_ENTRIES, SCAN_MATRIX};

}  // namespace

const CmdTables& tablesOf(int commandNumber) {
  return commandNumber == SCAN_COMMAND_NUMBER ? SCAN_TABLES : NO_TABLES;
}

const CmdEntry* findEntry(const CmdEntry* table, const char* argument) {
  if (*argument != '-')
    return nullptr;
  for (const CmdEntry* entry = table; !entry->name.empty(); ++entry)
    if (equalIgnoringCase(entry->name, argument + 1))
      return entry;
  return nullptr;
}

}  // namespace orv
