#pragma once

#include <cstdint>

#include "orvctl/history/Database.h"
#include "orvctl/model/Model.h"

namespace orv::ctl::history {

// Writes one path of a result, which has totals, into a writing transaction. False when the same
// result of that host and path with that start is there already.
[[nodiscard]] bool loadRoot(Database& database, const Scan& scan, const Root& root,
                            const std::string& host, std::int64_t now);

}  // namespace orv::ctl::history
