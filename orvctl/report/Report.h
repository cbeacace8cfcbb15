#pragma once

#include <set>
#include <string>

#include "orvctl/model/Model.h"
#include "orvctl/model/Sections.h"
#include "orvctl/text/Style.h"

namespace orv::ctl {

struct ReportOptions {
  int top = 20;                // entries shown of every list
  std::set<Section> sections;  // empty: those that are always part of a report
  Style style;

  [[nodiscard]] bool wants(Section section) const;
};

// The readable report of a scan: for several roots their totals first, then root by root its first
// screen and the sections that the options want; then the warnings and where the result lies. Every
// figure is one of the model.
[[nodiscard]] std::string renderReport(const Scan& scan, const ReportOptions& options);

// The warnings of a run alone; empty when there are none.
[[nodiscard]] std::string renderWarnings(const Run& run, const ReportOptions& options);

}  // namespace orv::ctl
