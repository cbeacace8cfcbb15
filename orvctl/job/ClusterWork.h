#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "orvctl/job/LocalJob.h"

namespace orv::ctl {

// How a scan is divided among processes or nodes.
struct ClusterSettings {
  std::string engine = "local";  // "local" or "slurm"
  std::string partition;         // of Slurm; empty for its default
  int tasks = 2;                 // shares that are scanned at a time
  std::int64_t budget = 0;       // entries of a share, at most; 0: what is walked in a minute
  unsigned threads = 1;          // that read ahead in each of them
};

// The work directory of a divided scan, as its starter sees it: holds all that it takes to go on
// with the scan after whatever ended it. The scan program keeps the rest of it.
class ClusterWork final {
 public:
  // Makes the directory, which must not be there yet, with the job's definition, mount table and
  // record. Throws CtlError, and leaves none then.
  [[nodiscard]] static ClusterWork make(const std::string& path, const ClusterSettings& settings,
                                        const AgentDirectory& agent, const LocalJob& job);
  // One that `make` made for this user. Throws CtlError.
  [[nodiscard]] static ClusterWork open(const std::string& path);

  // What a job is made from that goes on with the scan.
  [[nodiscard]] const std::string& agent() const noexcept { return m_agent; }
  [[nodiscard]] RunRecord record() const;
  [[nodiscard]] std::string definition() const;
  [[nodiscard]] std::string mountTable() const;

  [[nodiscard]] const std::string& path() const noexcept { return m_path; }
  [[nodiscard]] const ClusterSettings& settings() const noexcept { return m_settings; }
  // Variables that tell the scan program of the directory.
  [[nodiscard]] std::vector<std::string> environment() const;

  // Ends the scan wherever it runs: its coordinator, if that is on this machine, and its tasks.
  // Whether anything was running; throws CtlError when it goes on all the same.
  bool cancel() const;
  // Whether somebody did, also while the directory goes and after it.
  [[nodiscard]] bool isCancelled() const;

  // Begins to go on with the scan. Throws CtlError, which says who, while somebody works in the
  // directory.
  void takeUp() const;

  // Removes a directory in which nothing was begun yet. Whether it did.
  [[nodiscard]] bool removeIfUnused() const;

  // The scan has its result: nothing of the directory is needed any more.
  void remove() const;

 private:
  ClusterWork(std::string path, ClusterSettings settings, std::string agent);
  void fill(const LocalJob& job) const;

  std::string m_path;
  ClusterSettings m_settings;
  std::string m_agent;
};

}  // namespace orv::ctl
