#pragma once

#include <memory>

namespace CLI {
class App;
}

namespace orv::ctl {

// The command line with all commands and options. Parsing it runs the command that it names, which
// leaves the program's exit code in `exitCode`.
[[nodiscard]] std::unique_ptr<CLI::App> makeApp(int& exitCode);

// The whole program: parses the command line, runs the command and returns the exit code. A failure
// is one line on standard error, "orvctl: <what> <to what>: <why>".
[[nodiscard]] int runApp(int argc, const char* const* argv);

}  // namespace orv::ctl
