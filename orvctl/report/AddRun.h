#pragma once

#include "orvctl/job/JobLog.h"
#include "orvctl/job/RunRecord.h"
#include "orvctl/model/Model.h"

namespace orv::ctl {

// Adds to what a result says what only the files beside it know: the job's log, polled already (one
// that was not found adds nothing), and orvctl's record of the run, if there is one.
void addRun(Scan& scan, const JobLog& log, const std::optional<RunRecord>& record);

// Reads the result of a run and all that lies beside it. Throws CtlError.
[[nodiscard]] Scan readScan(const std::string& result);

}  // namespace orv::ctl
