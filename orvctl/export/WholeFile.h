#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

namespace orv::ctl {

// Reports may hold names that not everybody is to see; metrics are read by another user's program.
inline constexpr mode_t REPORT_MODE = 0640;
inline constexpr mode_t METRICS_MODE = 0644;

// Puts `text` under the name `path`, whole or not at all: whoever reads the file meanwhile sees the
// old one or the new one. The mode is exact, whatever the umask is. A device or a pipe is written
// to as it stands. Throws CtlError.
void writeWholeFile(const std::string& path, std::string_view text, mode_t mode);

}  // namespace orv::ctl
