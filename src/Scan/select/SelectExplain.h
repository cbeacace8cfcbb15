#pragma once

#include <string>

#include "Scan/select/SelectNodes.h"

namespace orv {

// A parsed where clause in plain English, for the person who wrote it: a line per test, indented by
// how they hang together, the tests of each level in the order in which they are asked. Every line
// ends with a line break.
[[nodiscard]] std::string explain(const ClauseNode& clause);

}  // namespace orv
