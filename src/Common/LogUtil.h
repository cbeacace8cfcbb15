#pragma once

#include <functional>
#include <map>
#include <string>

#include "Common/CmdArgs.h"

// Names of numbered logs and job files, and the purging of old ones. Used by the driver, at
// start-up.
namespace orv {

// How much is kept. A number of 0 or less is no limit.
struct LogLimits {
  int maxNumRuns = 0;        // run-numbered job files
  int maxNumLogs = 0;        // numbered instances of a log
  int maxNumDays = 0;        // age of run-numbered job files, by modification time
  int maxSize = 0;           // one log, in kilobytes
  bool newInstance = false;  // one more file is about to be made; set by getNextLogName
};

// Paths of files by instance or job run number, lowest first. Files that share a job run number all
// have their place, lowest SID run number first.
using NumberedFiles = std::multimap<int, std::string>;

// Every job run, in place of one job run number.
inline constexpr int ALL_RUNS = -1;

// The files "<component>_<number as %06d><ext>" of a directory, by number. Names match literally.
// A missing directory has none.
[[nodiscard]] NumberedFiles getMatchingFilesMap(const std::string& dir,
                                                const std::string& component,
                                                const std::string& ext);

// The files "<jobName>.<run as %08d>_<component>.<SID run as %04d><ext>" of a directory, by job run
// number: those of run `runNum`, or with ALL_RUNS those of every run.
[[nodiscard]] NumberedFiles getMatchingFilesMap(const std::string& dir, const std::string& jobName,
                                                int runNum, const std::string& component,
                                                const std::string& ext);

// The name (without directory) of the log to write next: the newest instance while it has room for
// more than 1023 bytes, else a new one, which `limits.newInstance` then tells.
[[nodiscard]] std::string getNextLogName(const std::string& directory, const std::string& prefix,
                                         const std::string& extension, LogLimits& limits);

// Deletes what is beyond the limits: run-numbered files by age and then by number, numbered logs by
// number, the lowest first. A file that is in use stays; it and one that cannot be deleted, which
// is traced, count as deleted.
void purgeLogFiles(NumberedFiles files, const LogLimits& limits, bool byRunNumber,
                   const std::function<bool(const std::string&)>& isInUse = {});

// Chooses the activity log and returns its path: `defaultPath` itself when the command line asks
// for no numbered instances; else, for "<name>.log", an instance "<name>_<number as %06d>.log"
// beside it, with `defaultPath` as a symbolic link to it. A plain file found there becomes a
// numbered instance; instances beyond the limit are purged. Safe with many jobs starting at once.
[[nodiscard]] std::string openActivityLog(const CmdArgs& args, const std::string& defaultPath);

// Purges the result, job information and trace files of the job's earlier runs, and what dead runs
// left unfinished, by the command line's limits. Files of runs that still go on stay; so do this
// run's own, which count as one of each.
void purgeJobFiles(const CmdArgs& args, const std::string& installLocation);

}  // namespace orv
