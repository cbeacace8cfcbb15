#include "orvctl/command/ScanCommand.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "orvctl/command/Options.h"
#include "orvctl/job/AgentDirectory.h"
#include "orvctl/job/LocalJob.h"
#include "orvctl/job/Progress.h"
#include "orvctl/job/ScanProcess.h"
#include "orvctl/job/WatchPath.h"
#include "orvctl/job/WhereClause.h"
#include "orvctl/report/Report.h"
#include "orvctl/text/CtlError.h"
#include "orvctl/text/DisplayText.h"
#include "orvctl/text/Output.h"

namespace orv::ctl {
namespace {

// The rankings of a result hold at least this many entries, so that a later report can show more
// than the first one did.
constexpr int MIN_RANKING = 100;

// More threads than this help on no storage.
constexpr unsigned MAX_THREADS = 64;

// The code of a scan that leaves a result although some parts could not be scanned.
constexpr int PARTLY_SCANNED = 4;

struct ScanArguments {
  std::string path;
  std::string agent;
  std::string where;
  std::vector<std::string> watch;
  int top = DEFAULT_TOP;
  unsigned threads = std::max(1U, std::thread::hardware_concurrency());
};

[[noreturn]] void cannotScan(const std::string& path, const std::string& why) {
  throw CtlError(fmt::format("cannot scan {}: {}", printable(path), why));
}

// The directory as the job names it: absolute and without links.
std::string scanRoot(const std::string& path) {
  const std::unique_ptr<char, void (*)(void*)> resolved(::realpath(path.c_str(), nullptr),
                                                        std::free);
  if (!resolved)
    cannotScan(path, errnoText(errno));
  struct stat info {};
  if (::stat(resolved.get(), &info) != 0)
    cannotScan(path, errnoText(errno));
  if (!S_ISDIR(info.st_mode))
    cannotScan(path, errnoText(ENOTDIR));
  if (::access(resolved.get(), R_OK | X_OK) != 0)
    cannotScan(path, errnoText(errno));
  return resolved.get();
}

std::vector<std::string> scanArguments(const std::string& program, const AgentDirectory& agent,
                                       const LocalJob& job) {
  return {program,         "-scan",
          "-installLoc",   agent.path,
          "-serverName",   AgentDirectory::SERVER,
          "-jobName",      LocalJob::JOB_NAME,
          "-jobRunNumber", std::to_string(job.runNumber()),
          "-sidRunNumber", std::to_string(LocalJob::SID_RUN_NUMBER),
          "-logname",      job.log(),
          "-maxNumRuns",   std::to_string(LocalJob::KEPT_RUNS)};
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

// Throws CtlError unless the scan left a result.
void requireResult(const ScanEnd& end, const std::string& root) {
  const std::string what = "scan of " + printable(root);
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

// What the job is to scan, with all that was typed checked.
JobRequest requestOf(const ScanArguments& arguments) {
  JobRequest request{scanRoot(arguments.path), std::max(arguments.top, MIN_RANKING),
                     readWhereClause(arguments.where)};
  for (const std::string& typed : arguments.watch)
    request.watch.push_back(watchPath(typed, request.root));
  return request;
}

int runScanCommand(const ScanArguments& arguments) {
  const JobRequest request = requestOf(arguments);
  const std::string& root = request.root;
  const std::string staged = stagedAgentDirectory();
  const AgentDirectory agent = prepareAgentDirectory(arguments.agent, staged);
  const LocalJob job(agent, request);
  const ReportOptions options{arguments.top, styleFor(STDOUT_FILENO)};

  JobLog log(job.log());
  Progress progress(root, log);
  const ScanEnd end = runScan(
      scanArguments(staged + "/bin/scan", agent, job),
      {"ORV_MNTTAB=" + job.mountTable(), "ORV_WALK_THREADS=" + std::to_string(arguments.threads)},
      progress.interval(), [&progress](double elapsed) { progress.show(elapsed); });
  progress.end();
  log.poll();
  try {
    requireResult(end, root);
  } catch (const CtlError&) {
    writeError(renderWarnings(log, options));
    throw;
  }
  writeOut(renderReport(ResultFile::read(job.result()), log, options));
  return end.exitCode;
}

}  // namespace

void addScanCommand(CLI::App& app, int& exitCode) {
  auto arguments = std::make_shared<ScanArguments>();
  CLI::App* command = app.add_subcommand("scan", "Scan a directory and print what it holds");
  command->add_option("PATH", arguments->path, "The directory to scan")->required();
  command
      ->add_option("--agent", arguments->agent,
                   "Agent directory for the job's files, made if needed; without it the one that "
                   "orvctl was built into, or ~/.local/share/orvscan if that cannot be written to")
      ->type_name("DIR");
  command
      ->add_option("--where", arguments->where,
                   "Count only entries that this where clause admits, as 'type = f & size > 1G'")
      ->type_name("CLAUSE");
  command
      ->add_option(
          "--watch", arguments->watch,
          "Directories below PATH that are also reported one by one, or patterns of them, as "
          "'/data/*/logs'; after PATH")
      ->type_name("DIR");
  command
      ->add_option("--threads", arguments->threads,
                   "Threads that read ahead of the scan; 1 for none. Without it as many as there "
                   "are processors")
      ->check(CLI::Range(1U, MAX_THREADS));
  addTopOption(*command, arguments->top);
  command->callback([arguments, &exitCode] { exitCode = runScanCommand(*arguments); });
}

}  // namespace orv::ctl
