#pragma once

#include <string>
#include <string_view>

#include "orvctl/text/Style.h"

namespace orv::ctl {

// A path so that it can be copied from where it is printed; `utf8` is what `utf8Text` made of its
// bytes. On a terminal it is quoted for the shell where the shell would read something else, as
// `ls` does; elsewhere it stands as it is. Where the locale is not UTF-8, bytes outside ASCII,
// which may be control characters there, are escaped.
[[nodiscard]] std::string pathText(std::string_view utf8, const Style& style);

}  // namespace orv::ctl
