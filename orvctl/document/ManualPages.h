#pragma once

#include <map>
#include <string>

#include "orvctl/document/CommandTable.h"

namespace orv::ctl {

// The manual pages of a command line as Markdown, by the names of the pages ("orvctl-scan.1"): one
// for the program and one for every command that stands directly below it. Second-level headings
// are the sections of a page.
[[nodiscard]] std::map<std::string, std::string> manualPages(const CommandEntry& program);

}  // namespace orv::ctl
