#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace orv::ctl {

// The one of `known` that a mistyped `word` most likely means; empty when none is near: at most a
// third of its letters are missing, wrong, too many or swapped with the next.
[[nodiscard]] std::string nearest(std::string_view word, const std::vector<std::string>& known);

}  // namespace orv::ctl
