#pragma once

#include <string>

// Small file operations of the runtime. All report failure by result and errno.
namespace orv {

// Creates a directory and its missing parents (mode 0755). An existing directory is accepted.
[[nodiscard]] bool makePath(const std::string& directory);

// The part of `path` before its last "/": "/" for a name in the root, empty without a "/".
[[nodiscard]] std::string parentDirectory(const std::string& path);

}  // namespace orv
