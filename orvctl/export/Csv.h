#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "orvctl/model/Model.h"

// A scan as tables by RFC 4180: UTF-8, lines that end in CR LF, a header line, empty values for
// what the result does not tell. The name of a table is that of the section that it holds.
namespace orv::ctl {

// The names of all tables.
[[nodiscard]] std::vector<std::string_view> csvTableNames();

// One table; empty for a name that is none. A table without rows still has its header line.
[[nodiscard]] std::string renderCsv(const Scan& scan, std::string_view table);

// The paths in a table of files or directories as they stand in the filesystem, each ended by a NUL
// byte. Throws CtlError for a table that lists no paths.
[[nodiscard]] std::string renderPaths(const Scan& scan, std::string_view table);

}  // namespace orv::ctl
