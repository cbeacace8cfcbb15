#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "orvctl/export/Export.h"
#include "orvctl/job/AgentDirectory.h"
#include "orvctl/job/LocalJob.h"
#include "orvctl/model/Model.h"

namespace orv::ctl {

struct RunSettings {
  unsigned threads = 1;  // that read ahead of the scan; 1 for none
  int timeout = 0;       // seconds for each call on what is scanned; 0 for any time
  std::vector<std::string> environment = {};  // of the scan program, besides
};

// How a run ended that left a result.
struct RunEnd {
  int code = 0;                 // the scan program's: 0 or 4
  std::int64_t lostShares = 0;  // of a divided scan, that were given up
};

// Runs the scan program for a job in its agent directory, with its progress on standard
// error, and gives what it found with all that is known of the run. The job's record tells how the
// run ended. Without a result the warnings of the job are
// shown, a metrics file of the request learns of the failure, and CtlError is thrown with the
// scan's code, or 128 plus the signal that ended it.
[[nodiscard]] Scan runScanJob(LocalJob& job, const AgentDirectory& agent,
                              const std::string& program, const RunSettings& settings,
                              const ExportRequest& request, RunEnd& runEnd);

}  // namespace orv::ctl
