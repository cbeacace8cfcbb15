#pragma once

#include <string>

namespace orv::ctl {

// The result file that a person means: the number of a run of orvctl's in the agent directory
// `agent`, "latest" for the newest of its results (with `path`: the newest that holds this path, as
// one that was scanned), or the name of a file. Throws CtlError when there is no such run.
[[nodiscard]] std::string chosenResult(const std::string& typed, const std::string& path,
                                       const std::string& agent);

}  // namespace orv::ctl
