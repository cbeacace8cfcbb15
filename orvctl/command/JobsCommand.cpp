#include "orvctl/command/Commands.h"

#include <fmt/format.h>
#include <unistd.h>

#include <ctime>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "orvctl/command/Options.h"
#include "orvctl/job/AgentDirectory.h"
#include "orvctl/job/JobList.h"
#include "orvctl/text/DisplayText.h"
#include "orvctl/text/Output.h"
#include "orvctl/text/TextTable.h"
#include "orvctl/text/Units.h"
#include "orvctl/text/Utf8.h"
#include "runtime/ut/Text.h"

namespace orv::ctl {
namespace {

using Kind = TextTable::Kind;

constexpr int PARTLY_READ = 4;

std::string stateText(const ListedJob& job) {
  switch (job.state) {
    case JobState::RUNNING:
      return "running";
    case JobState::ENDED:
      return fmt::format("ended: {}", job.code);
    case JobState::DIED:
      return "died";
    case JobState::UNKNOWN:
      break;
  }
  return "unknown";
}

std::optional<Emphasis> emphasisOf(const ListedJob& job) {
  if (job.state == JobState::RUNNING)
    return Emphasis::BAR;
  if (job.state == JobState::ENDED && job.code == 0)
    return std::nullopt;
  return Emphasis::WARNING;
}

std::string durationText(const ListedJob& job, std::int64_t now) {
  const auto end = job.state == JobState::RUNNING ? now : job.end;
  if (!job.start || !end || *end < *job.start)
    return "-";
  // The job's files tell whole seconds.
  const std::int64_t seconds = *end - *job.start;
  if (seconds < 60)
    return seconds == 0 ? "under 1 s" : fmt::format("{} s", seconds);
  return elapsedText(static_cast<double>(seconds));
}

std::string resultText(ResultState result) {
  switch (result) {
    case ResultState::THERE:
      return "yes";
    case ResultState::OLDER:
      return "older";
    case ResultState::MISSING:
      break;
  }
  return "no";
}

std::string runText(const JobRun& run) {
  return fmt::format("{}.{}", run.jobRunNumber, run.sidRunNumber);
}

std::string orDash(const std::string& text) {
  return text.empty() ? "-" : text;
}

// What the job scans: its paths where orvctl knows them, else the job's name.
std::string whatText(const ListedJob& job, const Style& style) {
  if (!job.record)
    return orDash(printable(job.run.job));
  std::string paths;
  for (const RootFacts& root : job.record->roots)
    paths += (paths.empty() ? "" : " ") + pathText(utf8Text(root.path), style);
  return paths;
}

// The number that "orvctl report" takes, for orvctl's own jobs.
std::string numberText(const ListedJob& job) {
  return job.record ? std::to_string(job.run.jobRunNumber) : runText(job.run);
}

// The rendered table, each row in the colour of its job: a cell with escape sequences would be
// wider than it looks.
std::string coloured(std::string_view table, const std::vector<ListedJob>& jobs,
                     const Style& style) {
  std::string out;
  std::size_t lineEnd = table.find('\n');
  out += table.substr(0, lineEnd + 1);
  for (const ListedJob& job : jobs) {
    table.remove_prefix(lineEnd + 1);
    lineEnd = table.find('\n');
    const std::string_view line = table.substr(0, lineEnd);
    const auto emphasis = emphasisOf(job);
    out += (emphasis ? emphasized(line, *emphasis, style) : std::string(line)) + "\n";
  }
  return out;
}

std::string renderJobTable(const JobList& list, std::int64_t now, const Style& style) {
  TextTable table({{"start", Kind::FIGURE},
                   {"time", Kind::FIGURE},
                   {"state", Kind::TEXT},
                   {"size", Kind::FIGURE},
                   {"result", Kind::TEXT},
                   {"server", Kind::TEXT},
                   {"host", Kind::TEXT},
                   {"run", Kind::FIGURE},
                   {"path or job", Kind::PATH}});
  for (const ListedJob& job : list.jobs)
    table.addRow(
        {job.start ? timeText(*job.start * 1000) : "-", durationText(job, now), stateText(job),
         job.record && job.record->bytes ? sizeText(*job.record->bytes) : "-",
         resultText(job.result), orDash(printable(job.run.server)),
         job.record ? printable(job.record->host) : "-", numberText(job), whatText(job, style)});
  return coloured(table.render(style), list.jobs, style);
}

// The path, or the fsID in the name of a lock; the whole name when the server whose name is in it
// is not known.
std::string filesystemOf(const ListedLock& lock, const Style& style) {
  if (!lock.path.empty())
    return pathText(utf8Text(lock.path), style);
  const std::string prefix =
      lock.holder ? "scan_" + withoutControlCharacters(lock.holder->server) : "";
  if (lock.holder && lock.resource.starts_with(prefix))
    return printable(std::string_view(lock.resource).substr(prefix.size()));
  return printable(lock.resource);
}

std::string holderText(const ListedLock& lock) {
  const std::string job =
      lock.holder ? fmt::format("{} {} of {}", printable(lock.holder->job), runText(*lock.holder),
                                orDash(printable(lock.holder->server)))
                  : "no listed job";
  if (!lock.processExists)
    return job + ", gone: the next scan takes it";
  return job + (lock.holderDied ? ", dead; another process has its id" : "");
}

std::string renderLocks(const JobList& list, const Style& style) {
  if (list.locks.empty())
    return {};
  TextTable table(
      {{"process", Kind::FIGURE}, {"held by", Kind::WHOLE}, {"filesystem", Kind::PATH}});
  for (const ListedLock& lock : list.locks)
    table.addRow({std::to_string(lock.pid), holderText(lock), filesystemOf(lock, style)});
  return "\n" + emphasized("Locks", Emphasis::TITLE, style) + "\n" + table.render(style);
}

int runJobs(const std::string& directory) {
  const std::string agent = chosenAgentDirectory(directory, findInstallation());
  const JobList list = readJobList(agent);
  writeOut(list.jobs.empty() ? fmt::format("No jobs in {}\n", printable(agent)) : "");
  writeOut(renderJobs(list, std::time(nullptr), styleFor(STDOUT_FILENO)));
  for (const std::string& fault : list.faults)
    writeError("orvctl: " + fault + "\n");
  return list.faults.empty() ? 0 : PARTLY_READ;
}

}  // namespace

std::string renderJobs(const JobList& list, std::int64_t now, const Style& style) {
  return (list.jobs.empty() ? "" : renderJobTable(list, now, style)) + renderLocks(list, style);
}

void addJobsCommand(CLI::App& app, int& exitCode) {
  auto directory = std::make_shared<std::string>();
  CLI::App* command =
      app.add_subcommand("jobs", "List the running and finished jobs of an agent directory");
  addAgentOption(*command, *directory);
  command->footer(
      "Example:\n"
      "  orvctl jobs --agent /opt/agent            also jobs that a server wanted\n"
      "\n"
      "Exit codes:\n"
      "  0  all of it was read\n"
      "  1  there is no such agent directory\n"
      "  2  the command line is wrong\n"
      "  4  parts could not be read; standard error names them");
  command->callback([directory, &exitCode] { exitCode = runJobs(*directory); });
}

}  // namespace orv::ctl
