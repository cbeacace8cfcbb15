#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace orv {

// How this machine reaches a scanned directory that the server knows under another name (a filer's
// export mounted here). Owned by the scanner; without one, paths are used as they are.
struct LocalPath {
  std::string serverRoot;  // the scan root as the server names it, without a trailing "/"
  std::string localRoot;   // the local path of the same directory, without a trailing "/"

  // Translates a server path below `serverRoot` into the local one. `available` is the room in
  // characters; on success it becomes the translation's length. False when the translation needs
  // more room: `local` then holds what fits.
  [[nodiscard]] bool retrieve(std::string_view path, std::string& local,
                              std::size_t& available) const;
};

}  // namespace orv
