#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "orvctl/job/JobRun.h"

namespace orv::ctl {

// That a run ended, as the agent was told and its stand-in wrote it into log/notify.log.
struct Notification {
  JobRun run;
  std::int64_t start = 0;  // seconds since 1970, like `end`
  std::int64_t end = 0;
  int code = 0;
};

// Reads one line of the log, "date time -notify scan -option value ...". Nothing for a line that is
// no notification of a scan or lacks what tells the run, its times or its code.
[[nodiscard]] std::optional<Notification> parseNotification(std::string_view line);

}  // namespace orv::ctl
