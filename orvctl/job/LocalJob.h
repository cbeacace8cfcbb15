#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "orvctl/job/AgentDirectory.h"
#include "orvctl/job/Definition.h"
#include "orvctl/job/RunRecord.h"

namespace orv::ctl {

// The files of one job in the agent directory, under a job run number of its own. Made by orvctl
// for one run of the scan program; the definition and the mount table go with the object, the
// result, its record and the log stay.
class LocalJob final {
 public:
  static constexpr const char* JOB_NAME = "orvctl";
  static constexpr int SID_RUN_NUMBER = 1;
  // Runs whose files are kept.
  static constexpr int KEPT_RUNS = 100;

  // Takes the next free run number and writes the job's definition, mount table and record. What
  // killed runs left is removed, and runs beyond the kept ones. Two orvctl that
  // run at once never get the same number. Throws CtlError when a file cannot be written or the
  // request cannot be expressed in it.
  LocalJob(const AgentDirectory& agent, const JobRequest& request);
  // Does again what another run was to do: its record, definition and mount table.
  LocalJob(const AgentDirectory& agent, RunRecord record, const std::string& definition,
           const std::string& mountTable);
  ~LocalJob();
  LocalJob(const LocalJob&) = delete;
  LocalJob& operator=(const LocalJob&) = delete;

  [[nodiscard]] int runNumber() const noexcept { return m_runNumber; }
  [[nodiscard]] const std::string& definition() const noexcept { return m_definition; }
  [[nodiscard]] const std::string& mountTable() const noexcept { return m_mountTable; }
  // Where the scan shows how far it is; nobody made it yet.
  [[nodiscard]] std::string progressFile() const { return m_mountTable + ".progress"; }
  [[nodiscard]] const std::string& result() const noexcept { return m_result; }
  [[nodiscard]] const std::string& log() const noexcept { return m_log; }
  [[nodiscard]] const RunRecord& record() const noexcept { return m_record; }

  // Enters into the record how the run ended, with its totals when there is a result. Throws
  // CtlError.
  void ended(int code, std::optional<std::int64_t> entries, std::optional<std::int64_t> bytes);

 private:
  RunRecord m_record;
  int m_runNumber = 0;
  std::string m_definition;
  std::string m_mountTable;
  std::string m_result;
  std::string m_log;
};

// Removes what killed runs left in the agent directory: their definitions and mount tables, and
// results that were never completed.
void removeLeftovers(const AgentDirectory& agent);

// The highest number of a run of orvctl's that left a file in an agent directory; 0 for none.
[[nodiscard]] int highestRunNumber(const AgentDirectory& agent);

// The log that belongs to a result of orvctl (by their names); empty for any other file.
[[nodiscard]] std::string logOfResult(const std::string& result);

}  // namespace orv::ctl
