#pragma once

#include <string>

#include "orvctl/model/GrowthSeries.h"
#include "orvctl/model/Model.h"

// A scan as one page that needs nothing else: figures, script and style stand in the file, and it
// asks no network for anything.
namespace orv::ctl {

struct PageOptions {
  int top = 20;  // at least so many entries of every list are on the page
};

// `growth` adds lines over time; null for none.
[[nodiscard]] std::string renderPage(const Scan& scan, const PageOptions& options,
                                     const GrowthSeries* growth);

}  // namespace orv::ctl
