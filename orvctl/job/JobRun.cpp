#include "orvctl/job/JobRun.h"

#include <cerrno>
#include <csignal>
#include <vector>

#include "Common/CmdArgs.h"
#include "runtime/unx/AtomicFile.h"

namespace orv::ctl {

bool processExists(pid_t pid) {
  return ::kill(pid, 0) == 0 || errno == EPERM;
}

bool isRunningScan(pid_t pid, const JobRun& run) {
  if (!processExists(pid))
    return false;
  // Empty for a process that ended.
  auto text = readWholeFile("/proc/" + std::to_string(pid) + "/cmdline");
  if (!text)
    return processExists(pid);
  if (!text->ends_with('\0'))
    *text += '\0';
  std::vector<const char*> arguments;
  for (std::size_t at = 0; at < text->size(); at = text->find('\0', at) + 1)
    arguments.push_back(text->c_str() + at);
  CmdArgs args(static_cast<int>(arguments.size()), arguments.data(), SCAN_COMMAND_NUMBER);
  return args.parse() == CMD_OK && args.mode == CmdArgs::MODE_SCAN &&
         JobRun{args.serverName, args.jobName, args.jobRunNumber, args.sidRunNumber} == run;
}

}  // namespace orv::ctl
