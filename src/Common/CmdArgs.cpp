#include "Common/CmdArgs.h"

#include <filesystem>
#include <new>
#include <string_view>

#include "Common/CmdTables.h"
#include "runtime/unx/Files.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

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
