#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>

#include "runtime/ut/UniqueFd.h"

namespace orv {

// Small file operations of the runtime. All report failure by result and errno, and none of them
// waits for a pipe that stands where a file is expected.

// Creates a directory and its missing parents (mode 0755 less the umask). An existing directory is
// accepted, and so is an empty name: the current directory.
[[nodiscard]] bool makePath(const std::string& directory);

// Whether the process may use a file in that way (R_OK, W_OK, X_OK): its effective user with the
// capabilities that it has, which access() leaves out.
[[nodiscard]] bool isAccessible(const std::string& path, int mode) noexcept;

// The part of `path` before its last "/": "/" for a name in the root, empty without a "/".
[[nodiscard]] std::string parentDirectory(const std::string& path);

// Opens a regular file for reading. Fails with EISDIR for a directory and EINVAL for anything else
// that stands in its place.
[[nodiscard]] UniqueFd openRegularFile(const std::string& path) noexcept;

// Makes a file anew (mode 0640 less the umask), for writing. What stands in its place, a leftover,
// a link or a pipe, is removed and never followed; a directory there makes it fail.
[[nodiscard]] UniqueFd createFile(const std::string& path) noexcept;

// Opens a file for appending, and for reading where the rights allow it. A missing one is made
// (mode 0640 less the umask) where its name stands: a link that leads nowhere is replaced, one that
// leads to a file is followed.
[[nodiscard]] UniqueFd openForAppending(const std::string& path) noexcept;

// Which file stands under a name: another one has another identity, even a copy.
struct FileIdentity {
  dev_t device = 0;
  ino_t inode = 0;
  std::int64_t modifiedSeconds = 0;
  std::int64_t modifiedNanoseconds = 0;
  bool operator==(const FileIdentity&) const = default;
};

// Nothing when no file stands there; links are not followed.
[[nodiscard]] std::optional<FileIdentity> identityOf(const std::string& path) noexcept;

}  // namespace orv
