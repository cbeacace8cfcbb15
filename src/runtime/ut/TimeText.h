#pragma once

#include <string>

namespace orv {

// The local date and time as "%Y-%m-%d %H:%M:%S" with ".mmm", the milliseconds of the second.
[[nodiscard]] std::string timeText();

}  // namespace orv
