#include "Common/CmdArgs.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <new>
#include <string_view>

#include "runtime/unx/Files.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"

namespace orv {

// Takes an option's value into the record; `value` is null when the command line ends before it.
// The result is CMD_OK or the code of the fault, whose text is then in the record.
using CmdHandler = int (*)(const char* value, CmdArgs& record);

// A command or an option, by its name without the leading "-".
struct CmdEntry {
  std::string_view name;  // an empty name ends a table
  int value;              // a command's mode; an option's column in the matrix
  bool takesValue;        // the next argument belongs to the entry
  CmdHandler handler;     // null when the entry has no effect besides its value
};

// How many options, and so columns of the matrix, there are.
constexpr std::size_t OPTION_COUNT = 17;
using MatrixRow = std::array<unsigned char, OPTION_COUNT>;

// The tables of one program.
struct CmdTables {
  const CmdEntry* commands;
  const CmdEntry* options;
  const MatrixRow* matrix;  // by mode; 1 where the option of that column goes with the command

  [[nodiscard]] bool isAllowed(int mode, int column) const {
    return matrix[mode].at(static_cast<std::size_t>(column)) != 0;
  }
};

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

// A number that no program has gets empty tables.
const CmdTables& tablesOf(int commandNumber) {
  return commandNumber == SCAN_COMMAND_NUMBER ? SCAN_TABLES : NO_TABLES;
}

// The entry that `argument` ("-" and a name in any case) stands for; null without one.
const CmdEntry* findEntry(const CmdEntry* table, const char* argument) {
  if (*argument != '-')
    return nullptr;
  for (const CmdEntry* entry = table; !entry->name.empty(); ++entry)
    if (equalIgnoringCase(entry->name, argument + 1))
      return entry;
  return nullptr;
}

constexpr std::string_view INSTALL_LOCATION_OPTION = "installloc";

std::string locationOfRunningProgram() {
  std::error_code unreadable;
  return installLocationOfProgram(
      std::filesystem::read_symlink("/proc/self/exe", unreadable).string());
}

}  // namespace

std::string installLocationOfProgram(const std::string& programPath) {
  const std::string directory = parentDirectory(programPath);
  const std::string parent = parentDirectory(directory);
  const bool isNamedBin = std::filesystem::path(directory).filename() == "bin";
  return isNamedBin ? parent : std::string();
}

CmdArgs::CmdArgs(int argc, const char* const* argv, int commandNumber)
    : m_argumentCount(argc), m_arguments(argv), m_tables(tablesOf(commandNumber)) {
  findInstallLocation();
}

const char* CmdArgs::argument(int index) const {
  return index < m_argumentCount ? m_arguments[index] : nullptr;
}

// Steps over the values of the other options, so that a job of the option's name is no location.
void CmdArgs::findInstallLocation() {
  for (int i = 1; i < m_argumentCount; ++i) {
    const CmdEntry* option = findEntry(m_tables.options, m_arguments[i]);
    if (option == nullptr || !option->takesValue)
      continue;
    const char* value = argument(++i);
    if (option->name == INSTALL_LOCATION_OPTION && value != nullptr)
      installLoc = value;
  }
  if (installLoc.empty())
    installLoc = locationOfRunningProgram();
}

int CmdArgs::parse() {
  TRACE_METHOD("parse()");
  try {
    m_next = 1;
    int code = parseCommand();
    if (code == CMD_OK)
      code = parseOptions();
    return code == CMD_OK ? settle() : code;
  } catch (const std::bad_alloc&) {
    return CMD_OUT_OF_MEMORY;
  }
}

int CmdArgs::parseCommand() {
  const char* command = argument(m_next);
  currentArgument = command == nullptr ? "" : command;
  const CmdEntry* entry = findEntry(m_tables.commands, currentArgument.c_str());
  if (entry == nullptr)
    return CMD_INVALID_COMMAND;
  mode = entry->value;
  return apply(*entry);
}

int CmdArgs::parseOptions() {
  int code = CMD_OK;
  while (m_next < m_argumentCount && code == CMD_OK) {
    currentArgument = m_arguments[m_next];
    const CmdEntry* option = findEntry(m_tables.options, currentArgument.c_str());
    if (option == nullptr || !m_tables.isAllowed(mode, option->value))
      return CMD_INVALID_PARAMETER;
    code = apply(*option);
  }
  return code;
}

// Hands the entry its value, or its own argument when it takes none, and moves on.
int CmdArgs::apply(const CmdEntry& entry) {
  if (entry.takesValue)
    ++m_next;
  const char* value = argument(m_next++);
  return entry.handler == nullptr ? CMD_OK : entry.handler(value, *this);
}

int CmdArgs::settle() {
  if (installLoc.empty())
    installLoc = locationOfRunningProgram();
  if (installLoc.empty()) {
    errorText = "Unable to determine install location\n";
    return CMD_NO_INSTALL_LOCATION;
  }
  if (!debugMode.empty() && debugfile.empty())
    debugfile = jobFiles().traceFile();
  return CMD_OK;
}

JobFiles CmdArgs::jobFiles() const {
  return {installLoc, serverName, jobName, jobRunNumber, sidRunNumber};
}

}  // namespace orv
