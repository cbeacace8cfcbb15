#include <fmt/format.h>

#include <memory>
#include <string>

#include "orvctl/command/Commands.h"
#include "orvctl/command/Options.h"
#include "orvctl/command/ScanCommand.h"
#include "orvctl/text/DisplayText.h"
#include "orvctl/text/Output.h"

namespace orv::ctl {
namespace {

constexpr int MAX_TASKS = 10'000;
constexpr std::int64_t MAX_BUDGET = 1'000'000'000;

constexpr const char* FOOTER =
    "Examples:\n"
    "  orvctl cluster scan /srv --tasks 8            processes of this machine\n"
    "  orvctl cluster scan /data --engine slurm --tasks 400 --agent /shared/orvscan\n"
    "  orvctl cluster resume /shared/orvscan/work/00000012\n"
    "                                                after whatever stopped it\n"
    "  orvctl cluster cancel /shared/orvscan/work/00000012\n"
    "                                                leave nothing of it running\n"
    "\n"
    "Exit codes:\n"
    "  0  the report is complete; cancel: nothing of the scan is left\n"
    "  1  orvctl could not do it       2  the command line is wrong\n"
    "  4  some shares could not be scanned, and the result says less\n"
    "  8  the scan failed: resume goes on with it, where its directory is said\n"
    "  128 + N  stopped by signal N (130: Ctrl-C); resume goes on";

void addClusterScan(CLI::App& cluster, int& exitCode) {
  auto arguments = std::make_shared<ScanArguments>();
  arguments->cluster.emplace();
  ClusterSettings& settings = *arguments->cluster;
  settings.tasks = static_cast<int>(arguments->threads);
  CLI::App* command = cluster.add_subcommand(
      "scan", "Scan a directory in shares, and print what it holds as one scan would");
  command->add_option("PATH", arguments->roots.paths, "The directory to scan")
      ->expected(1)
      ->required();
  command
      ->add_option("--engine", settings.engine,
                   "Who scans the shares: local (processes of this machine) or slurm; local if not "
                   "given")
      ->check(CLI::IsMember({"local", "slurm"}))
      ->type_name("NAME");
  command
      ->add_option("--partition", settings.partition, "Slurm's partition; its default if not given")
      ->type_name("NAME");
  command
      ->add_option(
          "--tasks", settings.tasks,
          "Shares that are scanned at a time; as many as there are processors if not given")
      ->type_name("N")
      ->check(CLI::Range(1, MAX_TASKS));
  command
      ->add_option("--budget", settings.budget,
                   "Entries of a share, at most; what is scanned in a minute if not given")
      ->type_name("N")
      ->check(CLI::Range(std::int64_t{1}, MAX_BUDGET));
  command
      ->add_option("--work", arguments->work,
                   "Work directory, which must not be there yet, on a filesystem that all nodes "
                   "share; one in the agent directory if not given")
      ->type_name("DIR");
  arguments->threads = 1;
  addScanOptions(*command, *arguments);
  command->callback([arguments, &exitCode] {
    if (askedForSectionHelp(arguments->report))
      writeOut(sectionHelp());
    else
      exitCode = runScanCommand(*arguments);
  });
}

void addResume(CLI::App& cluster, int& exitCode) {
  auto arguments = std::make_shared<ScanArguments>();
  auto directory = std::make_shared<std::string>();
  CLI::App* command = cluster.add_subcommand("resume", "Go on with a scan that was stopped");
  command->add_option("DIR", *directory, "Its work directory")->required();
  addReportOptions(*command, arguments->report, SCAN_HISTORY);
  command->callback(
      [arguments, directory, &exitCode] { exitCode = resumeScan(*arguments, *directory); });
}

void addCancel(CLI::App& cluster, int& exitCode) {
  auto directory = std::make_shared<std::string>();
  CLI::App* command = cluster.add_subcommand(
      "cancel", "End a scan wherever it runs, and remove what it did so far");
  command->add_option("DIR", *directory, "Its work directory")->required();
  command->callback([directory, &exitCode] {
    const ClusterWork work = ClusterWork::open(*directory);
    const bool wasRunning = work.cancel();
    work.remove();
    removeLeftovers({work.agent()});
    writeOut(fmt::format("{} {}\n", wasRunning ? "Cancelled the scan in" : "Nothing ran; removed",
                         printable(work.path())));
    exitCode = 0;
  });
}

}  // namespace

void addClusterCommand(CLI::App& app, int& exitCode) {
  CLI::App* cluster = app.add_subcommand(
      "cluster", "Scan one filesystem with many processes or nodes, into one result");
  cluster->require_subcommand(1);
  cluster->footer(FOOTER);  // also of the commands below, which take it over
  addClusterScan(*cluster, exitCode);
  addResume(*cluster, exitCode);
  addCancel(*cluster, exitCode);
}

}  // namespace orv::ctl
