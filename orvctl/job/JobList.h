#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "orvctl/job/JobRun.h"
#include "orvctl/job/RunRecord.h"

// The jobs of an agent directory, by the files that they leave there. Reading changes nothing and
// waits for nobody: every file is replaced or appended to as a whole.
namespace orv::ctl {

enum class JobState {
  RUNNING,
  ENDED,   // with a code
  DIED,    // its process is gone and told nobody how it ended
  UNKNOWN  // its job information file is damaged, or it had no server to tell its end
};

enum class ResultState {
  MISSING,
  THERE,
  OLDER  // there, but of an earlier run of the same numbers
};

struct ListedJob {
  JobRun run;
  JobState state = JobState::UNKNOWN;
  int code = 0;   // of an ended job
  pid_t pid = 0;  // of a running or dead job
  // Seconds since 1970. The start of a job in an unknown state is when its file was written.
  std::optional<std::int64_t> start{};
  std::optional<std::int64_t> end{};  // of an ended job
  ResultState result = ResultState::MISSING;
  std::optional<RunRecord> record{};  // of a job that orvctl started
};

// A lock of a filesystem.
struct ListedLock {
  std::string resource;          // "scan_<server><fsID>"; holds no control characters
  pid_t pid = 0;                 // of its holder
  std::optional<JobRun> holder;  // when that is a listed job, running or dead
  bool holderDied = false;
  bool processExists = false;
  std::string path{};  // of the filesystem, when a job of orvctl's tells it
};

struct JobList {
  std::vector<ListedJob> jobs;  // by start, newest last
  std::vector<ListedLock> locks;
  std::vector<std::string> faults;  // what could not be read: printable, one line each
};

// Reads the agent directory `agent`, an absolute path. Throws CtlError when it is no agent
// directory or cannot be entered; any other failure is one of the list's faults.
[[nodiscard]] JobList readJobList(const std::string& agent);

}  // namespace orv::ctl
