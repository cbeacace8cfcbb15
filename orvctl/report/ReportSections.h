#pragma once

#include <set>
#include <string>

#include "orvctl/model/Model.h"
#include "orvctl/model/Sections.h"
#include "orvctl/text/Style.h"

// What a report may hold, and the tables of a profile's statistics.
namespace orv::ctl {

struct ReportOptions {
  int top = 20;                // entries shown of every list
  std::set<Section> sections;  // empty: those that are always part of a report
  Style style;

  [[nodiscard]] bool wants(Section section) const;
};

// The section of a root's report that every profile fills with its statistics, ended by an empty
// line; empty when the result holds nothing of it.
[[nodiscard]] std::string renderStatistics(Section section, const Root& root,
                                           const ReportOptions& options);

// Every table of one profile's statistics.
[[nodiscard]] std::string renderStatistics(const Statistics& statistics,
                                           const ReportOptions& options);

// What owners and groups have that was not used for so long; empty where no ages were asked for.
[[nodiscard]] std::string renderOld(const Root& root, const ReportOptions& options);

}  // namespace orv::ctl
