#pragma once

#include <CLI/CLI.hpp>

namespace orv::ctl {

// The exit code of "growth" when a filesystem is past a limit that was given.
inline constexpr int EXIT_LIMIT = 3;

// Adds "growth [PATH]" to the program; when given, it shows what the history says about growth and
// sets `exitCode`, which must outlive the parse: 0, or EXIT_LIMIT with one line on standard error
// per filesystem that is past --fail-over or --fail-days.
void addGrowthCommand(CLI::App& app, int& exitCode);

}  // namespace orv::ctl
