#pragma once

#include <string>

namespace orv::ctl {

// The path of a monitored directory as a definition names it, made from what a person typed:
// a directory inside `root` (relative to it, links resolved), `root` itself, or,
// when there is no such directory, a pattern of paths below `root` (see PathPattern). `root` is
// absolute and without links. Throws CtlError for what the scan of `root` could not find.
[[nodiscard]] std::string watchPath(const std::string& typed, const std::string& root);

}  // namespace orv::ctl
