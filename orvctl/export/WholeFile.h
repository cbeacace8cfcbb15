#pragma once

#include <sys/types.h>

#include <functional>
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

// The same with what `change` makes of the text that is there (empty without a file). Programs that
// change files of one directory take turns, so none undoes what another did; one that has to wait
// for more than ten seconds gives up. Throws CtlError.
void changeWholeFile(const std::string& path,
                     const std::function<std::string(std::string_view before)>& change,
                     mode_t mode);

}  // namespace orv::ctl
