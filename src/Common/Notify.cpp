#include "Common/Notify.h"

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

std::vector<std::string> notifyCommand(int rc, const CmdArgs& args,
                                       const std::string& installLocation,
                                       const std::string& startStamp, const std::string& endStamp) {
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
      {"-exitCode",          std::to_string(rc)},
      {"-jobstarttimestamp", startStamp},
      {"-jobendtimestamp",   endStamp},
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

}  // namespace

int notifyAgent(int rc, const CmdArgs& args, const std::string& installLocation,
                const std::string& startStamp, const std::string& endStamp, int timeoutSeconds) {
  TRACE_METHOD("notifyAgent(...)");
  if (args.serverName.empty()) {
    TRACE(TR_MAX, "No server to send notification to.");
    return 0;
  }
  const std::vector<std::string> command =
      notifyCommand(rc, args, installLocation, startStamp, endStamp);
  TRACE(TR_MAX, "%s", joined(command).c_str());
  const pid_t pid = SpawnExternalProgram(command);
  if (pid == PROGRAM_NOT_STARTED) {
    TRACE(TR_ERROR, "notifyAgent failed");
    return PROGRAM_NOT_STARTED;
  }
  const int result = WaitForExternalProgram(pid, timeoutSeconds);
  if (result != 0)
    TRACE(TR_ERROR, "notiyAgent wait for completion failed");
  return result;
}

}  // namespace orv
