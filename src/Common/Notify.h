#pragma once

#include <string>
#include <vector>

#include "Common/CmdArgs.h"

// Telling the agent that a job ended, by running its own program. Used by the driver.
namespace orv {

// How long the agent's program may take, in seconds, before it is killed.
inline constexpr int NOTIFY_TIMEOUT_SECONDS = 21600;

// Runs "<install location>/bin/Agent -notify scan ..." with the job's identity and outcome and
// waits for it. The stamps are decimal seconds since 1970. 0 when it ran and ended with 0, and when
// there is no server to tell; else its exit code or a code of WaitForExternalProgram. A failure is
// only traced: it is no failure of the job.
[[nodiscard]] int notifyAgent(int rc, const CmdArgs& args, const std::string& installLocation,
                              const std::string& startStamp, const std::string& endStamp,
                              int timeoutSeconds = NOTIFY_TIMEOUT_SECONDS);

}  // namespace orv
