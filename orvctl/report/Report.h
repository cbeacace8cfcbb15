#pragma once

#include <string>

#include "orvctl/job/JobLog.h"
#include "orvctl/model/ResultFile.h"
#include "orvctl/text/Style.h"

namespace orv::ctl {

struct ReportOptions {
  int top = 20;  // entries shown of every list
  Style style;
};

// The readable report of a result: per filesystem (or monitored directory) and profile the totals
// and every statistic that the result holds; then the warnings of the job's log, which is polled
// already (a log that was not found has none), and where the result lies. Throws CtlError when the
// result holds no statistics.
[[nodiscard]] std::string renderReport(const ResultFile& result, const JobLog& log,
                                       const ReportOptions& options);

// The warnings of a job's log alone; empty when there are none.
[[nodiscard]] std::string renderWarnings(const JobLog& log, const ReportOptions& options);

}  // namespace orv::ctl
