#include "Common/LogUtil.h"

#include <sys/stat.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <limits>
#include <optional>
#include <tuple>
#include <vector>

#include "Common/JobFile.h"
#include "Common/unix/psnautil.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

namespace fs = std::filesystem;

constexpr long long BYTES_PER_KB = 1024;
// A log is full when not even 1 KB fits: sizes are counted in whole KB.
constexpr long long TOO_LITTLE_ROOM = 1023;
constexpr long long SECONDS_PER_DAY = 86400;

// Takes `text` off the front of `rest`; false, with `rest` as it was, when it does not begin so.
bool skip(std::string_view& rest, std::string_view text) {
  if (!rest.starts_with(text))
    return false;
  rest.remove_prefix(text.size());
  return true;
}

// Takes off the front of `rest` the number that printf's %0<width>d printed there; nothing for any
// other digits, so that exactly the names that are ever made are recognised.
std::optional<int> skipNumber(std::string_view& rest, int width) {
  int number = 0;
  const auto parsed = std::from_chars(rest.data(), rest.data() + rest.size(), number);
  if (parsed.ec != std::errc() || !skip(rest, formatText("%0*d", width, number)))
    return std::nullopt;
  return number;
}

std::string instanceName(const std::string& prefix, int number, const std::string& extension) {
  return prefix + formatText("_%06d", number) + extension;
}

std::optional<int> instanceNumber(std::string_view name, const std::string& prefix,
                                  const std::string& extension) {
  if (!skip(name, prefix) || !skip(name, "_"))
    return std::nullopt;
  const auto number = skipNumber(name, 6);
  return name == extension ? number : std::nullopt;
}

// Job run number and SID run number of a job file's name.
std::optional<std::pair<int, int>> runNumbers(std::string_view name, const std::string& jobName,
                                              const std::string& component,
                                              const std::string& ext) {
  if (!skip(name, jobName) || !skip(name, "."))
    return std::nullopt;
  const auto run = skipNumber(name, 8);
  if (!run || !skip(name, "_") || !skip(name, component) || !skip(name, "."))
    return std::nullopt;
  // All of the name must fit: what a job did not make itself is never purged.
  const auto sidRun = skipNumber(name, 4);
  if (!sidRun || name != ext)
    return std::nullopt;
  return std::pair(*run, *sidRun);
}

// The names of the regular files of a directory.
std::vector<std::string> regularFiles(const std::string& dir) {
  std::vector<std::string> names;
  std::error_code error;
  // Without exceptions: a directory that is missing holds nothing to purge.
  fs::directory_iterator entry(dir, error);
  for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
    std::error_code gone;
    // Links are not followed: a purge must not reach out of the directory.
    if (fs::is_regular_file(entry->symlink_status(gone)))
      names.push_back(entry->path().filename().string());
  }
  if (error)
    TRACE(TR_MAX, "list %s: %s", dir.c_str(), error.message().c_str());
  return names;
}

NumberedFiles reported(NumberedFiles files) {
  if (files.empty())
    TRACE(TR_MAX, "Found no matching file");
  return files;
}

using UseTest = std::function<bool(const std::string&)>;

void removeUnlessUsed(const std::string& file, const UseTest& isInUse) {
  if (isInUse && isInUse(file))
    TRACE(TR_MAX, "File \"%s\" belongs to a running job and stays", file.c_str());
  else
    psRemoveFile(file);
}

void purgeByAge(NumberedFiles& files, int days, const UseTest& isInUse) {
  const long long oldest = std::time(nullptr) - days * SECONDS_PER_DAY;
  std::erase_if(files, [&](const auto& file) {
    struct stat st {};
    // One that cannot be examined stays in the count: what is wrong with it is not known.
    if (::lstat(file.second.c_str(), &st) != 0 || st.st_mtime >= oldest)
      return false;
    TRACE(TR_MAX, "File \"%s\" will be deleted", file.second.c_str());
    removeUnlessUsed(file.second, isInUse);
    return true;
  });
}

struct JobFileKind {
  const char* folder;
  const char* extension;
};

// clang-format off
constexpr JobFileKind PURGED_KINDS[] = {
    {"output", ".dat"},
    {"output", ".dat.part"},
    {"output", ".jobinfo"},
    {"output", ".jobinfo.tmp"},
    {"log",    ".trace"},
    {"log",    ".notify.trace"},
};
// clang-format on

}  // namespace

NumberedFiles getMatchingFilesMap(const std::string& dir, const std::string& component,
                                  const std::string& ext) {
  TRACE_METHOD("getMatchingFilesMap(dir, component, ext)");
  NumberedFiles files;
  for (const std::string& name : regularFiles(dir))
    if (const auto number = instanceNumber(name, component, ext))
      files.emplace(*number, dir + "/" + name);
  return reported(std::move(files));
}

NumberedFiles getMatchingFilesMap(const std::string& dir, const std::string& jobName, int runNum,
                                  const std::string& component, const std::string& ext) {
  TRACE_METHOD("getMatchingFilesMap(dir, jobName, runNum, component, ext)");
  std::vector<std::tuple<int, int, std::string>> found;
  for (const std::string& name : regularFiles(dir))
    if (const auto numbers = runNumbers(name, jobName, component, ext))
      if (runNum == ALL_RUNS || runNum == numbers->first)
        found.emplace_back(numbers->first, numbers->second, dir + "/" + name);
  std::ranges::sort(found);
  NumberedFiles files;
  for (const auto& [run, sidRun, path] : found)
    // Sorted before, so that entries of one run keep the order of their SID run numbers.
    files.emplace(run, path);
  return reported(std::move(files));
}

std::string getNextLogName(const std::string& directory, const std::string& prefix,
                           const std::string& extension, LogLimits& limits) {
  TRACE_METHOD("getNextLogName(...)");
  const NumberedFiles files = getMatchingFilesMap(directory, prefix, extension);
  limits.newInstance = files.empty();
  if (files.empty())
    return instanceName(prefix, 1, extension);
  const auto& [last, lastLogName] = *files.rbegin();
  TRACE(TR_MAX, "lastLogName = %s", lastLogName.c_str());
  const auto size = psFileSize(lastLogName);
  // A log whose size is not known is written on: a new one each time would fill the directory.
  limits.newInstance = size && limits.maxSize * BYTES_PER_KB - *size <= TOO_LITTLE_ROOM &&
                       last < std::numeric_limits<int>::max();
  return instanceName(prefix, limits.newInstance ? last + 1 : last, extension);
}

void purgeLogFiles(NumberedFiles files, const LogLimits& limits, bool byRunNumber,
                   const UseTest& isInUse) {
  TRACE_METHOD("purgeLogFiles(...)");
  // By age first: what it takes need not be counted against the number of runs.
  if (byRunNumber && limits.maxNumDays > 0)
    purgeByAge(files, limits.maxNumDays, isInUse);
  const int limit = byRunNumber ? limits.maxNumRuns : limits.maxNumLogs;
  if (limit <= 0)
    return;
  // The file that is about to be made counts, too.
  const auto count = static_cast<long long>(files.size()) + (limits.newInstance ? 1 : 0);
  auto file = files.begin();
  // Oldest first: the map is in the order of the numbers.
  for (long long excess = count - limit; excess > 0 && file != files.end(); --excess, ++file) {
    if (byRunNumber)
      TRACE(TR_MAX, "File \"%s\" with run number %d will be deleted", file->second.c_str(),
            file->first);
    else
      TRACE(TR_MAX, "File \"%s\" will be deleted", file->second.c_str());
    removeUnlessUsed(file->second, isInUse);
  }
}

void purgeJobFiles(const CmdArgs& args, const std::string& installLocation) {
  TRACE_METHOD("purgeJobFiles(...)");
  const LogLimits limits{
      .maxNumRuns = args.maxNumRuns, .maxNumDays = args.maxNumDays, .newInstance = true};
  for (const JobFileKind& kind : PURGED_KINDS) {
    const std::string dir = installLocation + "/" + kind.folder + "/" + args.serverName;
    const std::string own =
        dir + "/" + jobFileName(args.jobName, args.jobRunNumber, args.sidRunNumber, kind.extension);
    NumberedFiles files = getMatchingFilesMap(dir, args.jobName, ALL_RUNS, "scan", kind.extension);
    // The running job's own files of an earlier attempt are replaced by it, not purged under it.
    std::erase_if(files, [&own](const auto& file) { return file.second == own; });
    const std::string infoDir = installLocation + "/output/" + args.serverName + "/";
    purgeLogFiles(std::move(files), limits, true, [&](const std::string& file) {
      const std::string name = file.substr(dir.size() + 1);
      // By the job's information file, which a running job keeps beside its result.
      return isOfRunningJob(infoDir + name.substr(0, name.size() - std::strlen(kind.extension)) +
                            ".jobinfo");
    });
  }
}

}  // namespace orv
