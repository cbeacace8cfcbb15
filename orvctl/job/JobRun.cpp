#include "orvctl/job/JobRun.h"

#include <cerrno>
#include <csignal>
#include <vector>

#include "Common/CmdArgs.h"
#include "Common/JobFile.h"
#include "runtime/unx/AtomicFile.h"

namespace orv::ctl {
namespace {

constexpr std::string_view SCAN_MARK = "_scan.";

// Cuts the number behind the last `mark` off the end of `text`.
std::optional<int> takeLastNumber(std::string_view& text, std::string_view mark) {
  const std::size_t at = text.rfind(mark);
  if (at == std::string_view::npos)
    return std::nullopt;
  const auto number = numberIn<int>(text.substr(at + mark.size()));
  text = text.substr(0, at);
  return number;
}

void takeWord(JobInfo& info, std::string_view word) {
  const std::size_t equals = word.find('=');
  if (equals == std::string_view::npos)
    return;
  const std::string_view key = word.substr(0, equals);
  const std::string_view value = word.substr(equals + 1);
  if (key == "pid") {
    const auto pid = numberIn<pid_t>(value);
    info.pid = pid && *pid > 0 ? pid : std::nullopt;
  } else if (key == "startTime") {
    info.start = timeIn(value);
  } else if (key == "endTime") {
    info.end = timeIn(value);
  } else if (key == "rc") {
    info.code = numberIn<int>(value);
  }
}

}  // namespace

bool processExists(pid_t pid) {
  return ::kill(pid, 0) == 0 || errno == EPERM;
}

bool isRunningScan(pid_t pid, const JobRun& run) {
  if (!processExists(pid))
    return false;
  // Empty for a process that ended.
  auto text = readWholeFile("/proc/" + std::to_string(pid) + "/cmdline");
  if (!text)
    return processExists(pid);
  if (!text->ends_with('\0'))
    *text += '\0';
  std::vector<const char*> arguments;
  for (std::size_t at = 0; at < text->size(); at = text->find('\0', at) + 1)
    arguments.push_back(text->c_str() + at);
  CmdArgs args(static_cast<int>(arguments.size()), arguments.data(), SCAN_COMMAND_NUMBER);
  return args.parse() == CMD_OK && args.mode == CmdArgs::MODE_SCAN &&
         JobRun{args.serverName, args.jobName, args.jobRunNumber, args.sidRunNumber} == run;
}

JobInfo parseJobInfo(std::string_view text) {
  JobInfo info;
  const std::size_t header = text.find('\n');
  if (header == std::string_view::npos)
    return info;
  std::string_view line = text.substr(header + 1);
  line = line.substr(0, line.find_first_of("\r\n"));
  while (!line.empty()) {
    const std::size_t blank = line.find(' ');
    takeWord(info, line.substr(0, blank));
    line.remove_prefix(blank == std::string_view::npos ? line.size() : blank + 1);
  }
  return info;
}

std::optional<JobRun> runOfJobInfo(const std::string& server, const std::string& fileName) {
  if (!fileName.ends_with(JOB_INFO_ENDING))
    return std::nullopt;
  std::string_view rest =
      std::string_view(fileName).substr(0, fileName.size() - JOB_INFO_ENDING.size());
  const auto sidRunNumber = takeLastNumber(rest, SCAN_MARK);
  const auto jobRunNumber = sidRunNumber ? takeLastNumber(rest, ".") : std::nullopt;
  if (!jobRunNumber)
    return std::nullopt;
  JobRun run{server, std::string(rest), *jobRunNumber, *sidRunNumber};
  const std::string own =
      jobFileName(run.job, run.jobRunNumber, run.sidRunNumber, std::string(JOB_INFO_ENDING));
  return own == fileName ? std::optional(std::move(run)) : std::nullopt;
}

}  // namespace orv::ctl
