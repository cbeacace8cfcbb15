#pragma once

#include <string>
#include <vector>

#include "Common/CmdArgs.h"

// Telling the agent that a job ended, by running its own program. Used by the driver.
namespace orv {

// How long the agent's program may take, in seconds, before it is killed.
inline constexpr int NOTIFY_TIMEOUT_SECONDS = 21600;

// The notification of one job's end, made ready when the job begins: sending it needs no memory, so
// that the agent learns of a job that ran out of it.
class Notification final {
 public:
  // `startStamp` is in decimal seconds since 1970.
  Notification(const CmdArgs& args, const std::string& installLocation,
               const std::string& startStamp);
  Notification(const Notification&) = delete;
  Notification& operator=(const Notification&) = delete;

  // Runs "<install location>/bin/Agent -notify scan ..." with the job's identity and outcome and
  // waits for it. 0 when it ran and ended with 0, and when there is no server to tell; else its
  // exit code or a code of WaitForExternalProgram. A failure is only traced: it is no failure of
  // the job.
  [[nodiscard]] int send(int rc, const std::string& endStamp,
                         int timeoutSeconds = NOTIFY_TIMEOUT_SECONDS);

 private:
  bool m_hasServer;
  std::vector<std::string> m_command;
  std::vector<char*> m_arguments;  // points into m_command
  std::string* m_exitCode = nullptr;
  std::string* m_endStamp = nullptr;
};

// Makes the notification ready and sends it.
[[nodiscard]] int notifyAgent(int rc, const CmdArgs& args, const std::string& installLocation,
                              const std::string& startStamp, const std::string& endStamp,
                              int timeoutSeconds = NOTIFY_TIMEOUT_SECONDS);

}  // namespace orv
