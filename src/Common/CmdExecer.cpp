#include "Common/CmdExecer.h"

#include <cerrno>

#include "Common/unix/psnautil.h"
#include "runtime/unx/AtomicFile.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"

namespace orv {

CmdExecer::CmdExecer(const std::vector<std::string>& cmdArgs, std::string standardOutput,
                     std::string standardError)
    : m_standardOutput(std::move(standardOutput)), m_standardError(std::move(standardError)) {
  TRACE_METHOD("CmdExecer::CmdExecer(...)");
  if (cmdArgs.empty()) {
    TRACE(TR_ERROR, "Nothing to execute; cmdArgs is empty.");
    return;
  }
  for (const std::string& argument : cmdArgs)
    m_command += argument + " ";
  // Appended to, because the files were made by the caller and bear its rights.
  m_command += ">>" + shellWord(m_standardOutput) + " 2>>" + shellWord(m_standardError);
}

int CmdExecer::runCommand() {
  constexpr const char* NAME = "CmdExecer::runCommand()";
  TRACE(TR_ENTER, "Enter: %s", NAME);
  if (m_command.empty()) {
    TRACE(TR_ERROR, "Nothing to execute.");
    return -1;
  }
  TRACE(TR_MAX, "Executing command: %s", m_command.c_str());
  const int result = RunShellCommand(m_command);
  if (result == -1)
    TRACE(TR_ERROR, "system(%s) failed (errno = %d, %s)", m_command.c_str(), errno,
          errnoText(errno).c_str());
  TRACE(TR_MAX, "sysOut: %s", readWholeFile(m_standardOutput).value_or("").c_str());
  TRACE(TR_MAX, "sysErr: %s", readWholeFile(m_standardError).value_or("").c_str());
  TRACE(TR_EXIT, "Exit: %s, result = %d", NAME, result);
  return result;
}

}  // namespace orv
