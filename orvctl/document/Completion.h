#pragma once

#include <string>

#include "orvctl/document/CommandTable.h"

// What shells load to complete a command line: commands, options, and values where the table tells
// what they are.
namespace orv::ctl {

[[nodiscard]] std::string bashCompletion(const CommandEntry& program);
[[nodiscard]] std::string zshCompletion(const CommandEntry& program);
[[nodiscard]] std::string fishCompletion(const CommandEntry& program);

}  // namespace orv::ctl
