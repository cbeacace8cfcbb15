#include "orvctl/command/Commands.h"

#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <exception>
#include <memory>
#include <vector>

#include "orvctl/command/ScanCommand.h"
#include "orvctl/command/ScanRun.h"
#include "orvctl/job/AgentDirectory.h"
#include "orvctl/job/LocalJob.h"
#include "orvctl/job/SlurmCheck.h"
#include "orvctl/job/TypedInput.h"
#include "orvctl/text/CtlError.h"
#include "orvctl/text/DisplayText.h"
#include "orvctl/text/Output.h"
#include "orvctl/text/Units.h"

namespace orv::ctl {
namespace {

// The rankings of a result hold at least this many entries, so that a later report can show more
// than the first one did.
constexpr int MIN_RANKING = 100;

// More threads than this help on no storage.
constexpr unsigned MAX_THREADS = 64;

// The code of a scan that leaves a result although some parts could not be scanned.
constexpr int PARTLY_SCANNED = 4;

constexpr int MAX_DEPTH = 5;
constexpr int MAX_TIMEOUT = 86400;

constexpr const char* FOOTER =
    "Examples:\n"
    "  orvctl scan /home                         what fills /home\n"
    "  orvctl scan / --summary                   the first screen alone\n"
    "  orvctl scan --all --strict                every local filesystem\n"
    "  orvctl scan /var --watch log --watch 'lib/*'\n"
    "  orvctl scan /srv --where 'type = f & accessed > 1y' --section owners,files\n"
    "\n"
    "Exit codes:\n"
    "  0  the report is complete       4  some parts could not be scanned\n"
    "  1  orvctl could not do it       2  the command line is wrong\n"
    "  8  the scan failed, 9 its result could not be written, 12 nothing to scan\n"
    "  128 + N  stopped by signal N (130: Ctrl-C)";

std::string hostName() {
  std::array<char, HOST_NAME_MAX + 1> name{};
  return ::gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

// Whether anything below the roots was not read.
bool anythingLeftOut(const Scan& scan) {
  return std::ranges::any_of(scan.roots, [](const Root& root) {
    return !root.complete ||
           (root.notRead &&
            root.notRead->unreadable + root.notRead->tooDeep + root.notRead->tooLong > 0);
  });
}

// Reports what a job found, with all that the user asked to be done with it; the exit code.
int report(const ScanArguments& arguments, const Scan& scan, int code, bool isWhole) {
  // The page shows this scan, too; but a history that cannot be written must not take the report
  // away.
  HistoryOption history = arguments.report.history;
  std::exception_ptr failure;
  try {
    addToHistory(history, scan);
  } catch (const CtlError&) {
    failure = std::current_exception();
    history.wanted = false;
  }
  writeReport(requestOf(arguments.report), scan, history);
  if (failure)
    std::rethrow_exception(failure);
  const bool partly = !isWhole || (arguments.strict && anythingLeftOut(scan));
  return partly ? std::max(code, PARTLY_SCANNED) : code;
}

// Throws what a divided scan without a result ends with: that, and what may be done now.
[[noreturn]] void divisionFailed(const ClusterWork& work, const CtlError& error) {
  if (work.isCancelled())
    throw CtlError("the scan was cancelled; there is no result", error.exitCode());
  // As when another scan holds the lock.
  if (work.removeIfUnused())
    throw error;
  const std::string directory = printable(work.path());
  throw CtlError(fmt::format("{}\n  to go on:      orvctl cluster resume {}\n"
                             "  to give it up: orvctl cluster cancel {}",
                             error.what(), directory, directory),
                 error.exitCode());
}

// What is kept of a divided scan that has its result: all of it when there is something to do.
void tidy(const ClusterWork& work, std::int64_t lostShares) {
  if (lostShares > 0) {
    const std::string directory = printable(work.path());
    writeError(
        fmt::format("orvctl: {} could not be scanned, see {}/logs\n"
                    "  to try again:  orvctl cluster resume {}\n"
                    "  to leave it:   orvctl cluster cancel {}\n",
                    numberOf(lostShares, "share"), directory, directory, directory));
    return;
  }
  try {
    work.remove();
  } catch (const CtlError& error) {
    writeError(std::string("orvctl: ") + error.what() + "\n");
  }
}

// A divided scan, whose work directory stays until there is a result.
int runDivided(const ScanArguments& arguments, LocalJob& job, const AgentDirectory& agent,
               const ClusterWork& work, bool isWhole) {
  Scan scan;
  RunEnd end;
  try {
    scan = runScanJob(job, agent, findInstallation().scan,
                      {work.settings().threads, 0, work.environment()}, requestOf(arguments.report),
                      end);
  } catch (const CtlError& error) {
    divisionFailed(work, error);
  }
  // Before the report, which may fail by itself.
  tidy(work, end.lostShares);
  return report(arguments, scan, end.code, isWhole);
}

// The history compares scans of all that lies in a path.
void requireWhole(const ReportArguments& report, const std::string& where) {
  if (report.history.wanted && !where.empty())
    throw CtlError("--history goes with scans of all that lies in a path, not with --where",
                   EXIT_USAGE);
}

// A cluster that takes no tasks is to be known before there is anything to go on with.
void requireEngine(const ClusterSettings& settings) {
  if (settings.engine == "slurm")
    requireSlurm(settings.partition);
  else if (!settings.partition.empty())
    throw CtlError("--partition goes with --engine slurm", EXIT_USAGE);
}

}  // namespace

int runScanCommand(const ScanArguments& arguments) {
  const ExportRequest request = requestOf(arguments.report);
  const WhereClause where = readWhereClause(arguments.where);
  requireWhole(arguments.report, arguments.where);
  const std::vector<Age> ages = parseAges(arguments.ages);
  const ScanRoots found = findRoots(arguments.roots);
  for (const std::string& note : found.notes)
    writeError("orvctl: " + note + "\n");
  const Installation installation = findInstallation();
  requireComplete(installation);
  if (arguments.cluster)
    requireEngine(*arguments.cluster);
  const AgentDirectory agent = prepareAgentDirectory(arguments.agent, installation);
  LocalJob job(agent, {.roots = found.roots,
                       .rankingSize = std::max(request.top, MIN_RANKING),
                       .where = where,
                       .ages = ages,
                       .watchedInFull = request.sections.contains(Section::WATCHED),
                       .host = hostName()});
  if (!arguments.cluster) {
    RunEnd end;
    const Scan scan =
        runScanJob(job, agent, installation.scan, {arguments.threads, found.timeout}, request, end);
    return report(arguments, scan, end.code, found.complete);
  }
  ClusterSettings settings = *arguments.cluster;
  settings.threads = arguments.threads;
  const std::string directory = arguments.work.empty()
                                    ? fmt::format("{}/work/{:08}", agent.path, job.runNumber())
                                    : arguments.work;
  const ClusterWork work = ClusterWork::make(directory, settings, agent, job);
  return runDivided(arguments, job, agent, work, found.complete);
}

int resumeScan(const ScanArguments& arguments, const std::string& workDirectory) {
  const ClusterWork work = ClusterWork::open(workDirectory);
  work.takeUp();
  const Installation installation = findInstallation();
  requireComplete(installation);
  RunRecord record = work.record();
  requireWhole(arguments.report, record.where);
  requireEngine(work.settings());
  const AgentDirectory agent = prepareAgentDirectory(work.agent(), installation);
  LocalJob job(agent, std::move(record), work.definition(), work.mountTable());
  return runDivided(arguments, job, agent, work, true);
}

void addScanOptions(CLI::App& command, ScanArguments& arguments) {
  RootsRequest& roots = arguments.roots;
  command
      .add_option("--where", arguments.where,
                  "Count only entries that this where clause admits, as 'type = f & size > 1G'")
      ->type_name("CLAUSE");
  command
      .add_option("--watch", roots.watch,
                  "A directory below PATH that is also reported by itself, or a pattern of them, "
                  "as '*/logs'; may be given again")
      ->type_name("DIR")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->allow_extra_args(false);
  command
      .add_option("--depth", roots.depth,
                  fmt::format("Levels of directories whose sizes are measured with all that is "
                              "below them: 0 to {}; {} if not given",
                              MAX_DEPTH, roots.depth))
      ->type_name("N")
      ->check(CLI::Range(0, MAX_DEPTH));
  command
      .add_option("--ages", arguments.ages,
                  "When data counts as old: up to nine ages; 90d,1y,2y if not given")
      ->type_name("LIST");
  command.add_flag("--strict", arguments.strict,
                   "End with code 4 when anything below PATH was not read");
  command
      .add_option(
          "--threads", arguments.threads,
          fmt::format("Threads that read ahead of the scan; 1 for none. {} if not given",
                      arguments.cluster ? "1, in each share," : "As many as there are processors"))
      ->type_name("N")
      ->check(CLI::Range(1U, MAX_THREADS));
  addReportOptions(command, arguments.report, SCAN_HISTORY);
  addAgentOption(command, arguments.agent);
}

void addScanCommand(CLI::App& app, int& exitCode) {
  auto arguments = std::make_shared<ScanArguments>();
  RootsRequest& roots = arguments->roots;
  CLI::App* command = app.add_subcommand("scan", "Scan directories and print what they hold");
  CLI::Option* paths = command->add_option("PATH", roots.paths, "Directories to scan, in one job");
  CLI::Option* all =
      command->add_flag("--all", roots.all, "Scan every local filesystem of the host");
  command->add_flag("--network", roots.network, "With --all: network filesystems, too")->needs(all);
  command
      ->add_option(
          "--timeout", roots.timeout,
          "Seconds that a call on a mount may take before it is given up; 0 for no limit. "
          "If not given 10 where a PATH lies on a network mount or has one below it, else no limit")
      ->type_name("SECONDS")
      ->check(CLI::Range(0, MAX_TIMEOUT));
  addScanOptions(*command, *arguments);
  command->footer(FOOTER);
  command->callback([arguments, paths, all, &exitCode] {
    if (askedForSectionHelp(arguments->report)) {
      writeOut(sectionHelp());
      return;
    }
    if (paths->count() == 0 && all->count() == 0)
      throw CLI::RequiredError("PATH or --all");
    exitCode = runScanCommand(*arguments);
  });
}

}  // namespace orv::ctl
