#pragma once

#include <string>
#include <vector>

namespace orv {

// One shell command line whose output is appended to two files. Built, run and dropped by one
// function.
//
//   CmdExecer mount({"mount", "-t", "ext4"}, "/tmp/out", "/tmp/err");
//   if (mount.runCommand() == 0) ...
class CmdExecer final {
 public:
  // The arguments are joined by blanks and are shell text: quoting what needs it is the caller's.
  // The file names are quoted here where they need it.
  CmdExecer(const std::vector<std::string>& cmdArgs, std::string standardOutput,
            std::string standardError);

  // Runs the line through the shell and waits. Returns the result of system(): the wait status (0
  // for success), or -1 when it could not be run or is empty. Both files are traced afterwards.
  [[nodiscard]] int runCommand();

  // The command line with its redirections; empty when there were no arguments.
  [[nodiscard]] const std::string& getCommand() const noexcept { return m_command; }

 private:
  std::string m_standardOutput;
  std::string m_standardError;
  std::string m_command;
};

}  // namespace orv
