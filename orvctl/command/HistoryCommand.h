#pragma once

#include <CLI/CLI.hpp>

namespace orv::ctl {

// Adds "history add|list|show|prune" to the program. Each sets `exitCode`, which must outlive the
// parse: 0, or 1 when a result could not be added (the others are added all the same).
void addHistoryCommand(CLI::App& app, int& exitCode);

}  // namespace orv::ctl
