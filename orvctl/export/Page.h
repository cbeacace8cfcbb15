#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <span>
#include <string>

#include "orvctl/model/Model.h"

namespace orv::ctl {

// The subtrees of a root as the page's script wants them, in few bytes: [parent, name, bytes,
// files, directories], the parent being an index into the list (-1 for the root) and the name
// relative to it. Parents come before what is in them.
struct PageTree {
  nlohmann::ordered_json rows = nlohmann::ordered_json::array();
  std::size_t left = 0;  // subtrees without a row because `budget` was used up, the smallest ones
};

// `budget` is in bytes of JSON, about.
[[nodiscard]] PageTree pageTree(const Root& root, std::size_t budget);

// A scan as one page that needs nothing else: figures, script and style stand in the file, and it
// asks no network for anything.

struct PageOptions {
  int top = 20;  // at least so many entries of every list are on the page
};

// `growth` adds lines over time to the roots that it names.
[[nodiscard]] std::string renderPage(const Scan& scan, const PageOptions& options,
                                     std::span<const GrowthSeries> growth);

}  // namespace orv::ctl
