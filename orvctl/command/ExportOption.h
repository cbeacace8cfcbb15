#pragma once

#include <CLI/CLI.hpp>

#include "orvctl/export/Export.h"

namespace orv::ctl {

// Adds "--format", "--output" and "--null" to a command; they go into `request`, which must outlive
// the parse. "--section" and "--top" are the command's own.
void addExportOption(CLI::App& command, ExportRequest& request);

}  // namespace orv::ctl
