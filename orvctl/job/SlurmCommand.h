#pragma once

#include <string>
#include <vector>

namespace orv::ctl {

// What became of a command of Slurm.
struct CommandEnd {
  int code = 0;       // its exit code; 127 when there is no such program
  std::string words;  // what it said, on one line
};

// Runs a command that is looked for in the path, without a shell, and gives it half a minute: a
// controller that is gone keeps some of them for longer. Never throws for what the command does.
[[nodiscard]] CommandEnd runSlurmCommand(std::vector<std::string> words);

// Asks Slurm whether it would take tasks of this user in that partition (empty: its default).
// Throws CtlError with Slurm's own words when it would not.
void requireSlurm(const std::string& partition);

}  // namespace orv::ctl
