#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "orvctl/job/AgentDirectory.h"
#include "orvctl/job/WhereClause.h"

namespace orv::ctl {

// What one job of orvctl scans and gathers.
struct JobRequest {
  std::string root;                     // absolute, without links
  int rankingSize;                      // how many entries every ranking keeps, 1 to 32,767
  WhereClause where = {};               // which entries count; all when empty
  std::vector<std::string> watch = {};  // monitored directories, as `watchPath` gives them
};

// The files of one job in the agent directory, under a job run number of its own. Made by orvctl
// for one run of the scan program; the definition and the mount table go with the object, the
// result and the log stay.
class LocalJob final {
 public:
  static constexpr const char* JOB_NAME = "orvctl";
  static constexpr int SID_RUN_NUMBER = 1;
  // Runs whose files are kept.
  static constexpr int KEPT_RUNS = 100;

  // Takes the next free run number and writes the job's definition and mount table. Two orvctl that
  // run at once never get the same number. Throws CtlError when a file cannot be written or the
  // request cannot be expressed in it.
  LocalJob(const AgentDirectory& agent, const JobRequest& request);
  ~LocalJob();
  LocalJob(const LocalJob&) = delete;
  LocalJob& operator=(const LocalJob&) = delete;

  [[nodiscard]] int runNumber() const noexcept { return m_runNumber; }
  [[nodiscard]] const std::string& mountTable() const noexcept { return m_mountTable; }
  [[nodiscard]] const std::string& result() const noexcept { return m_result; }
  [[nodiscard]] const std::string& log() const noexcept { return m_log; }

 private:
  int m_runNumber = 0;
  std::string m_definition;
  std::string m_mountTable;
  std::string m_result;
  std::string m_log;
};

// The log that belongs to a result of orvctl (by their names); empty for any other file.
[[nodiscard]] std::string logOfResult(const std::string& result);

// The definition of a job with one filesystem and one profile that asks for everything there is.
// Throws CtlError for a root that a definition cannot express.
[[nodiscard]] std::string definitionText(const JobRequest& request);

// A mount table with the one entry that makes `root` a filesystem of its own. Its type is one that
// has no device whose physical size would be read. Throws CtlError for a root that is too long.
[[nodiscard]] std::string mountTableText(const std::string& root);

// The fsID under which a directory is scanned: positive, the same in every run, so that the lock of
// the filesystem keeps two scans of one directory apart and lets scans of different ones run at
// once.
[[nodiscard]] std::int32_t filesystemIdOf(const std::string& root);

}  // namespace orv::ctl
