#include "Scan/job/ScanOptions.h"

#include <algorithm>
#include <cstdlib>

#include "Scan/unix/ReadAhead.h"

namespace orv {
namespace {

// Beyond it a filesystem would gain nothing, and figures that are reckoned with it would overflow.
constexpr int MAX_TASKS = 100'000;

// The text of a variable that is set and not empty; else null.
const char* variable(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr && *value != '\0' ? value : nullptr;
}

share::SpreadOptions spreadOptions() {
  share::SpreadOptions options;
  if (const char* work = variable("ORV_SHARES"))
    options.work = work;
  if (const char* engine = variable("ORV_SHARES_ENGINE"))
    options.engine = engine;
  if (const char* partition = variable("ORV_SHARES_PARTITION"))
    options.partition = partition;
  if (const char* tasks = variable("ORV_SHARES_TASKS"))
    options.tasks = std::clamp(std::atoi(tasks), 1, MAX_TASKS);
  if (const char* budget = variable("ORV_SHARES_BUDGET"))
    options.budget = std::max(std::atoll(budget), 0LL);
  return options;
}

}  // namespace

ScanOptions scanOptionsOfEnvironment() {
  ScanOptions options;
  options.walkThreads = walkThreads(std::getenv("ORV_WALK_THREADS"));
  if (const char* table = variable("ORV_MNTTAB"))
    options.mountTable = table;
  if (const char* progress = variable("ORV_PROGRESS"))
    options.progressFile = progress;
  options.spread = spreadOptions();
  return options;
}

}  // namespace orv
