#include "orvctl/job/RunChoice.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "Common/JobFile.h"
#include "orvctl/job/AgentDirectory.h"
#include "orvctl/job/JobRun.h"
#include "orvctl/job/LocalJob.h"
#include "orvctl/text/CtlError.h"
#include "orvctl/text/DisplayText.h"
#include "runtime/unx/Files.h"
#include "runtime/ut/ScanPaths.h"
#include "runtime/ut/Text.h"

namespace orv::ctl {
namespace {

namespace fs = std::filesystem;

std::string resultOf(const std::string& agent, int run) {
  return orv::JobFiles{agent, AgentDirectory::SERVER, LocalJob::JOB_NAME, run,
                       LocalJob::SID_RUN_NUMBER}
      .outputFile();
}

bool scanned(const std::string& result, const std::string& path) {
  const auto record = RunRecord::read(recordOfResult(result));
  return record && std::ranges::any_of(
                       record->roots, [&path](const RootFacts& root) { return root.path == path; });
}

std::string latest(const std::string& path, const std::string& agent) {
  if (!isAccessible(agent, R_OK | X_OK) && errno != ENOENT)
    throw CtlError(
        fmt::format("cannot look for results in {}: {}", printable(agent), errnoText(errno)));
  std::error_code ignored;
  const std::string absolute(withoutTrailingSlash(
      path.empty() ? std::string() : fs::absolute(path, ignored).lexically_normal().string()));
  for (int run = highestRunNumber({agent}); run > 0; --run) {
    const std::string result = resultOf(agent, run);
    if (fs::is_regular_file(result, ignored) && (path.empty() || scanned(result, absolute)))
      return result;
  }
  throw CtlError(fmt::format("there is no result{} in {}; \"orvctl jobs\" lists the runs",
                             path.empty() ? "" : " for " + printable(absolute), printable(agent)));
}

}  // namespace

std::string chosenResult(const std::string& typed, const std::string& path,
                         const std::string& agent) {
  if (typed == "latest")
    return latest(path, agent);
  if (!path.empty())
    throw CtlError("a PATH goes with \"latest\" only", EXIT_USAGE);
  const auto run = numberIn<int>(typed);
  if (!run)
    return typed;
  const std::string result = resultOf(agent, *run);
  std::error_code ignored;
  if (!fs::exists(result, ignored))
    throw CtlError(fmt::format("run {} left no result in {}; \"orvctl jobs\" lists the runs", *run,
                               printable(agent)));
  return result;
}

}  // namespace orv::ctl
