#include "Common/Notify.h"

#include <algorithm>
#include <charconv>

#include "Common/unix/psnautil.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

constexpr std::string_view TRACE_ENDING = ".trace";
constexpr std::string_view NOTIFY_TRACE_ENDING = ".notify.trace";

// The agent expects the place above its own directory here; a location that does not name one is
// passed as it is.
std::string aboveAgent(const std::string& installLocation) {
  return installLocation.substr(0, installLocation.rfind("agent"));
}

std::string notifyTraceName(std::string_view traceName) {
  if (traceName.ends_with(TRACE_ENDING))
    traceName.remove_suffix(TRACE_ENDING.size());
  return std::string(traceName).append(NOTIFY_TRACE_ENDING);
}

struct Option {
  const char* name;
  std::string value;
  bool onlyWithValue = false;  // left out when the value is empty
};

constexpr const char* EXIT_CODE = "-exitCode";
constexpr const char* END_STAMP = "-jobendtimestamp";

// The values of EXIT_CODE and END_STAMP are still to come.
std::vector<std::string> notifyCommand(const CmdArgs& args, const std::string& installLocation,
                                       const std::string& startStamp) {
  // The program writes a trace of its own: two processes in one file would cut each other's lines.
  const std::string traceName = args.debugfile.empty() ? "" : notifyTraceName(args.debugfile);
  // clang-format off
  const Option options[] = {
      {"-installLoc",        aboveAgent(installLocation)},
      {"-serverName",        args.serverName},
      {"-serverIP",          args.serverIP, true},
      {"-serverPort",        std::to_string(args.serverPort)},
      {"-jobName",           args.jobName},
      {"-jobRunNumber",      std::to_string(args.jobRunNumber)},
      {"-sidRunNumber",      std::to_string(args.sidRunNumber)},
      {"-debug",             args.debugMode, true},
      {"-maxLogSize",        std::to_string(args.maxLogSize)},
      {EXIT_CODE,            ""},
      {"-jobstarttimestamp", startStamp},
      {END_STAMP,            ""},
      {"-debugfile",         traceName, true},
  };
  // clang-format on
  std::vector<std::string> command{installLocation + "/bin/Agent", "-notify", "scan"};
  for (const Option& option : options) {
    if (option.onlyWithValue && option.value.empty())
      continue;
    command.emplace_back(option.name);
    command.push_back(option.value);
  }
  return command;
}

std::string joined(const std::vector<std::string>& words) {
  std::string all;
  for (const std::string& word : words)
    all.append(all.empty() ? "" : " ").append(word);
  return all;
}

// Room for a code or a time stamp, which then takes no memory of its own.
constexpr std::size_t VALUE_ROOM = 32;

std::string* valueOf(std::vector<std::string>& command, const char* option) {
  // From the end, for a job may be named like an option.
  std::string* value = &*std::find(command.rbegin(), command.rend(), option).base();
  value->reserve(VALUE_ROOM);
  return value;
}

void setNumber(std::string& value, int number) {
  char digits[VALUE_ROOM];
  value.assign(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
}

}  // namespace

Notification::Notification(const CmdArgs& args, const std::string& installLocation,
                           const std::string& startStamp)
    : m_hasServer(!args.serverName.empty()),
      m_command(notifyCommand(args, installLocation, startStamp)),
      m_exitCode(valueOf(m_command, EXIT_CODE)),
      m_endStamp(valueOf(m_command, END_STAMP)) {
  // Last: the room made for a value may have moved it.
  m_arguments = argumentVector(m_command);
}

int Notification::send(int rc, const std::string& endStamp, int timeoutSeconds) {
  TRACE_METHOD("notifyAgent(...)");
  if (!m_hasServer) {
    TRACE(TR_MAX, "No server to send notification to.");
    return 0;
  }
  setNumber(*m_exitCode, rc);
  m_endStamp->assign(endStamp, 0, VALUE_ROOM);
  TRACE(TR_MAX, "%s", joined(m_command).c_str());
  const pid_t pid = SpawnPrepared(m_arguments.data());
  if (pid == PROGRAM_NOT_STARTED) {
    TRACE(TR_ERROR, "notifyAgent failed");
    return PROGRAM_NOT_STARTED;
  }
  const int result = WaitForExternalProgram(pid, timeoutSeconds);
  if (result != 0)
    TRACE(TR_ERROR, "notiyAgent wait for completion failed");
  return result;
}

int notifyAgent(int rc, const CmdArgs& args, const std::string& installLocation,
                const std::string& startStamp, const std::string& endStamp, int timeoutSeconds) {
  return Notification(args, installLocation, startStamp).send(rc, endStamp, timeoutSeconds);
}

}  // namespace orv
