#include "Scan/share/SlurmQueue.h"

#include <cstdlib>
#include <sstream>

#include "runtime/ut/Text.h"

namespace orv::share {
namespace {

// When the time is over that Slurm shows as "days-hours:minutes:seconds", of which the front may be
// missing. Never for the words that it has for time without a limit.
std::chrono::steady_clock::time_point limitAfter(const std::string& left) {
  std::int64_t days = 0;
  std::int64_t seconds = 0;
  std::string rest = left;
  if (const auto dash = left.find('-'); dash != std::string::npos) {
    days = std::atoll(left.c_str());
    rest = left.substr(dash + 1);
  }
  std::istringstream parts(rest);
  for (std::string part; std::getline(parts, part, ':');) {
    if (part.empty() || part.find_first_not_of("0123456789") != std::string::npos)
      return std::chrono::steady_clock::time_point::max();
    seconds = seconds * 60 + std::atoll(part.c_str());
  }
  return std::chrono::steady_clock::now() + std::chrono::hours(24 * days) +
         std::chrono::seconds(seconds);
}

}  // namespace

SlurmQueue queueOf(const std::string& answer) {
  SlurmQueue queue;
  std::istringstream lines(answer);
  for (std::string line; std::getline(lines, line);) {
    // Line by line: of several clusters squeue says the names, too.
    std::istringstream words(line);
    std::string name;
    std::string left;
    QueuedTask task;
    // One that is completing does nothing any more, and a node that hangs may keep it so for ever.
    if (!(words >> name >> task.state >> left) || task.state == "COMPLETING")
      continue;
    std::getline(words, task.reason);
    task.reason = trimmed(task.reason, " ");
    task.limit = limitAfter(left);
    queue.emplace(name, task);
  }
  return queue;
}

}  // namespace orv::share
