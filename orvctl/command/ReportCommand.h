#pragma once

#include <CLI/CLI.hpp>

namespace orv::ctl {

// Adds "report FILE" to the program; when given, it prints the report of a result file and sets
// `exitCode`, which must outlive the parse.
void addReportCommand(CLI::App& app, int& exitCode);

}  // namespace orv::ctl
