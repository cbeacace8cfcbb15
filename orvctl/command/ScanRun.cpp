#include "orvctl/command/ScanRun.h"

#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <optional>
#include <vector>

#include "orvctl/job/Progress.h"
#include "orvctl/job/ScanProcess.h"
#include "orvctl/model/ModelBuilder.h"
#include "orvctl/report/AddRun.h"
#include "orvctl/report/Report.h"
#include "orvctl/text/CtlError.h"
#include "orvctl/text/DisplayText.h"
#include "orvctl/text/Output.h"
#include "orvctl/text/Units.h"
#include "orvctl/text/Utf8.h"

namespace orv::ctl {
namespace {

// The code of a scan that leaves a result although some parts could not be scanned.
constexpr int PARTLY_SCANNED = 4;

std::vector<std::string> scanArguments(const std::string& program, const AgentDirectory& agent,
                                       const LocalJob& job, int timeout) {
  std::vector<std::string> all = {program,         "-scan",
                                  "-installLoc",   agent.path,
                                  "-serverName",   AgentDirectory::SERVER,
                                  "-jobName",      LocalJob::JOB_NAME,
                                  "-jobRunNumber", std::to_string(job.runNumber()),
                                  "-sidRunNumber", std::to_string(LocalJob::SID_RUN_NUMBER),
                                  "-logname",      job.log(),
                                  "-maxNumRuns",   std::to_string(LocalJob::KEPT_RUNS)};
  if (timeout > 0)
    all.insert(all.end(), {"-nfstimeout", std::to_string(timeout)});
  return all;
}

// What a scan's failure code means; the text for any other code says so.
std::string failureText(int code) {
  struct Failure {
    int code;
    const char* text;
  };
  static constexpr std::array<Failure, 7> FAILURES = {{
      {8, "it could not be done; another scan of the directory may be running"},
      {9, "the result could not be written"},
      {12, "nothing could be scanned"},
      {13, "its definition could not be read"},
      {30, "its trace could not be opened"},
      {69, "its definition does not fit"},
      {72, "its message catalog could not be opened"},
  }};
  for (const Failure& failure : FAILURES)
    if (failure.code == code)
      return fmt::format("{} (code {})", failure.text, code);
  return fmt::format("it ended with code {}", code);
}

// What the job scans, in words.
std::string subjectOf(const std::vector<RootFacts>& roots) {
  return roots.size() == 1 ? printable(roots.front().path)
                           : numberOf(static_cast<std::int64_t>(roots.size()), "directory");
}

// Throws CtlError unless the scan left a result. `directory` is the one that it entered last.
void requireResult(const ScanEnd& end, const std::string& subject, const std::string& directory) {
  const std::string what = "scan of " + subject;
  if (end.stuckPid != 0)
    throw CtlError(
        fmt::format("{} was killed, but process {} is stuck in the kernel at {}; it ends, and its "
                    "lock with it, when that answers",
                    what, end.stuckPid, directory.empty() ? subject : printable(directory)),
        128 + end.stoppedBy);
  if (end.stoppedBy != 0)
    throw CtlError(
        fmt::format("{} stopped: {}; there is no result", what, ::strsignal(end.stoppedBy)),
        128 + end.stoppedBy);
  if (end.killedBy != 0)
    throw CtlError(
        fmt::format("{} failed: it was ended by a signal: {}", what, ::strsignal(end.killedBy)),
        128 + end.killedBy);
  if (end.exitCode != 0 && end.exitCode != PARTLY_SCANNED)
    throw CtlError(fmt::format("{} failed: {}", what, failureText(end.exitCode)), end.exitCode);
}

// The inodes in use tell how many entries there are where whole filesystems are scanned.
std::int64_t expectedEntries(const std::vector<RootFacts>& roots) {
  std::int64_t sum = 0;
  for (const RootFacts& root : roots) {
    if (!root.isMountPoint || root.usedInodes <= 0)
      return 0;
    sum += root.usedInodes;
  }
  return sum;
}

void noteFailure(LocalJob& job, const JobLog& log, const ExportRequest& request, int code,
                 double seconds) {
  job.ended(code, std::nullopt, std::nullopt);
  Scan nothing;
  addRun(nothing, log, std::nullopt);
  if (nothing.run)
    writeError(renderWarnings(*nothing.run, {20, {}, styleFor(STDERR_FILENO)}));
  FailedRun failed{{}, job.record().started * 1000, seconds, code};
  for (const RootFacts& root : job.record().roots)
    failed.roots.push_back(utf8Text(root.path));
  exportFailure(request, failed);
}

}  // namespace

Scan runScanJob(LocalJob& job, const AgentDirectory& agent, const std::string& program,
                const RunSettings& settings, const ExportRequest& request, RunEnd& runEnd) {
  const std::vector<RootFacts>& roots = job.record().roots;
  Progress progress(subjectOf(roots), expectedEntries(roots), job.progressFile());
  std::vector<std::string> environment = settings.environment;
  environment.insert(environment.end(),
                     {"ORV_MNTTAB=" + job.mountTable(), "ORV_PROGRESS=" + job.progressFile(),
                      "ORV_WALK_THREADS=" + std::to_string(settings.threads)});
  const ScanEnd end =
      runScan(scanArguments(program, agent, job, settings.timeout), environment, progress);
  progress.end();
  JobLog log(job.log());
  log.poll();
  Scan scan;
  try {
    requireResult(end, subjectOf(roots), progress.directory());
    // A job whose only filesystem could not be walked leaves a result, which holds nothing.
    scan = buildModel(ResultFile::read(job.result()));
  } catch (const CtlError& error) {
    noteFailure(job, log, request, error.exitCode(), end.elapsedSeconds);
    throw;
  }
  const auto totals = scan.totals();
  job.ended(end.exitCode, totals ? std::optional(totals->entries()) : std::nullopt,
            totals ? std::optional(totals->bytes) : std::nullopt);
  addRun(scan, log, job.record());
  runEnd.code = end.exitCode;
  for (const LeftOut& left : log.leftOut())
    runEnd.lostShares += left.lostShares;
  return scan;
}

}  // namespace orv::ctl
