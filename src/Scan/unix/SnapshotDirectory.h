#pragma once

#include <string>
#include <string_view>

namespace orv {

// The snapshot directory of a KLFS cluster filesystem, asked of the filesystem's own command.
// Without the command, or without an answer, it is "<mountPoint>/.snapshots".
[[nodiscard]] std::string getSnapshotDirKLFS(const std::string& mountPoint);

// The directory's name within the command's answer: from the first "." up to the next occurrence of
// the character before it. Empty when the first line holds no such name.
[[nodiscard]] std::string snapshotNameOf(std::string_view answer);

}  // namespace orv
