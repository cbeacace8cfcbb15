#pragma once

namespace orv::ctl {

// The whole program: parses the command line, runs the command and returns the exit code. A failure
// is one line on standard error, "orvctl: <what> <to what>: <why>".
[[nodiscard]] int runApp(int argc, const char* const* argv);

}  // namespace orv::ctl
