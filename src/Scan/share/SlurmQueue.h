#pragma once

#include <chrono>
#include <map>
#include <string>

namespace orv::share {

// What Slurm's queue says of a task.
struct QueuedTask {
  // Of squeue, for the answers that are read here.
  static constexpr const char* FORMAT = "%F_%K %T %L %r";

  std::string state;  // in Slurm's word, "PENDING" for one that waits
  // When Slurm ends it.
  std::chrono::steady_clock::time_point limit = std::chrono::steady_clock::time_point::max();
  std::string reason;  // why it waits, in Slurm's word
};

// Of all tasks that may still do something, by their names, "<job>_<index>".
using SlurmQueue = std::map<std::string, QueuedTask>;

[[nodiscard]] SlurmQueue queueOf(const std::string& answer);

}  // namespace orv::share
