#pragma once

#include <CLI/CLI.hpp>

namespace orv::ctl {

// Adds "check-where CLAUSE" to the program; when given, it explains a where clause in plain English
// and sets `exitCode`, which must outlive the parse, to 0. For a clause that is not valid it throws
// a CtlError that points at the error.
void addCheckWhereCommand(CLI::App& app, int& exitCode);

}  // namespace orv::ctl
