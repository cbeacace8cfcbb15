#pragma once

#include <string>
#include <vector>

#include "orvctl/model/Model.h"
#include "orvctl/model/Sections.h"

// A scan as tables by RFC 4180: UTF-8, lines that end in CR LF, a header line, empty values for
// what the result does not tell. Every section of a report is one table with all that the result
// holds; the statistics of watched directories stand in the same tables, told apart by a column.
namespace orv::ctl {

// The sections that have a table, in the order of the report.
[[nodiscard]] std::vector<SectionName> csvTables();

// One table. One without rows still has its header line. Throws CtlError for a section without.
[[nodiscard]] std::string renderCsv(const Scan& scan, Section section);

// The paths in a table of files or directories as they stand in the filesystem, each ended by a NUL
// byte. Throws CtlError for a section that lists no paths.
[[nodiscard]] std::string renderPaths(const Scan& scan, Section section);

}  // namespace orv::ctl
