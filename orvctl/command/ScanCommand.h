#pragma once

#include <CLI/CLI.hpp>

namespace orv::ctl {

// Adds "scan PATH" to the program; when given, it runs one scan job over PATH, prints its report
// and sets `exitCode`, which must outlive the parse: the scan's own code (0 complete, 4 some parts
// could not be scanned; the report is printed for both), or 128 plus the signal that stopped it.
void addScanCommand(CLI::App& app, int& exitCode);

}  // namespace orv::ctl
