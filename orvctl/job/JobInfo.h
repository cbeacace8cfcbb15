#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "orvctl/job/JobRun.h"

// The job information file "output/<server>/<job>.<run>_scan.<sid>.jobinfo" as its reader sees it.
namespace orv::ctl {

inline constexpr std::string_view JOB_INFO_ENDING = ".jobinfo";

// What the second line tells. Each value is missing when the file does not hold it as it should:
// users damage files.
struct JobInfo {
  std::optional<pid_t> pid;
  std::optional<std::int64_t> start;  // seconds since 1970, like `end`
  std::optional<std::int64_t> end;    // with `code`, when the agent could not be told
  std::optional<int> code;

  [[nodiscard]] bool isComplete() const noexcept {
    return (pid && start) || (end && code);  // a file made anew at the end knows no start
  }
};

[[nodiscard]] JobInfo parseJobInfo(std::string_view text);

// The run that a job information file of `server` belongs to, by the file's name; nothing for a
// name that no job gives its file.
[[nodiscard]] std::optional<JobRun> runOfJobInfo(const std::string& server,
                                                 const std::string& fileName);

}  // namespace orv::ctl
