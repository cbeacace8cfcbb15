#pragma once

#include <CLI/CLI.hpp>

namespace orv::ctl {

// Lets settings files say what neither the command line nor the environment does: a section per
// command with its long options as keys, and keys without a section for every command that has
// such an option:
//
//   db = "postgresql://collector/scans"
//   [scan]
//   top = 10
//
// The user's file goes before the system's; --config names one to read in place of both. While the
// command line is parsed a CtlError tells what is wrong in a file; help is printed all the same.
void addSettings(CLI::App& app);

}  // namespace orv::ctl
