#pragma once

#include <sys/types.h>

#include <charconv>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orv::ctl {

// Which run of which job: what its files are named by and its notification tells. The texts are
// bytes as they stand in file names. A later run may bear the same numbers again.
struct JobRun {
  std::string server;  // empty for a job that was started without a server
  std::string job;
  int jobRunNumber = 0;
  int sidRunNumber = 0;

  // clang-tidy 14 takes the 0 that the compiler compares with for a null pointer.
  // NOLINTNEXTLINE(modernize-use-nullptr)
  auto operator<=>(const JobRun&) const = default;
};

// A text that is a decimal number as a whole; nothing for any other.
template <typename Number>
[[nodiscard]] std::optional<Number> numberIn(std::string_view text) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size())
    return std::nullopt;
  return number;
}

// Seconds since 1970 as the job's files give them; nothing for what no calendar holds.
[[nodiscard]] inline std::optional<std::int64_t> timeIn(std::string_view text) {
  constexpr std::int64_t END_OF_9999 = 253402300799;
  const auto seconds = numberIn<std::int64_t>(text);
  return seconds && *seconds >= 0 && *seconds <= END_OF_9999 ? seconds : std::nullopt;
}

// Whether a process of this id exists, as the locks see it: one that ended and is only to be waited
// for does.
[[nodiscard]] bool processExists(pid_t pid);

// Whether process `pid` is the scan of `run` and has not ended. Ids are given again, in a container
// even from 1 on, so the command line of the process must name the run. A process that the system
// hides from this user counts as the scan.
[[nodiscard]] bool isRunningScan(pid_t pid, const JobRun& run);

// The job information file "output/<server>/<job>.<run>_scan.<sid>.jobinfo", as its reader sees it.
inline constexpr std::string_view JOB_INFO_ENDING = ".jobinfo";

// What the second line tells. Each value is missing when the file does not hold it as it should:
// users damage files.
struct JobInfo {
  std::optional<pid_t> pid;
  std::optional<std::int64_t> start;  // seconds since 1970, like `end`
  std::optional<std::int64_t> end;    // with `code`, when the agent could not be told
  std::optional<int> code;

  [[nodiscard]] bool isComplete() const noexcept {
    return (pid && start) || (end && code);  // a file made anew at the end knows no start
  }
};

[[nodiscard]] JobInfo parseJobInfo(std::string_view text);

// The run that a job information file of `server` belongs to, by the file's name; nothing for a
// name that no job gives its file.
[[nodiscard]] std::optional<JobRun> runOfJobInfo(const std::string& server,
                                                 const std::string& fileName);

}  // namespace orv::ctl
