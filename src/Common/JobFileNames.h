#pragma once

#include <string>

// Names of the files that belong to one job run. The server, the agent and the job agree on them,
// so they are made here and nowhere else.
namespace orv {

// The job whose definition file is named without run numbers: the first scan of a new agent.
inline constexpr const char* INITIAL_SCAN_JOB = "InitialFSScan";

// "<jobName>.<jobRunNumber as %08d>_scan.<sidRunNumber as %04d><extension>"; the extension brings
// its own dot: jobFileName("J", 12, 3, ".dat") is "J.00000012_scan.0003.dat".
[[nodiscard]] std::string jobFileName(const std::string& jobName, int jobRunNumber,
                                      int sidRunNumber, const std::string& extension);

// What the files of one run are named from, and their paths. A plain value; a relative install
// location is kept and gives relative paths.
struct JobFiles final {
  std::string installLocation;
  std::string serverName;
  std::string jobName;
  int jobRunNumber = 0;
  int sidRunNumber = 0;

  // input/<server>/<job file>.dat; InitialFSScan.dat for the job of that name.
  [[nodiscard]] std::string definitionFile() const;

  // output/<server>/<job file>.dat, always with run numbers.
  [[nodiscard]] std::string outputFile() const;

  // output/<server>/<job file>.jobinfo, always with run numbers.
  [[nodiscard]] std::string jobInfoFile() const;

  // log/<server>/<job file>.trace; InitialFSScan.trace for the job of that name.
  [[nodiscard]] std::string traceFile() const;

 private:
  [[nodiscard]] std::string path(const char* folder, const std::string& fileName) const;
  [[nodiscard]] std::string numberedName(const char* extension) const;
  [[nodiscard]] std::string nameOrInitial(const char* extension) const;
};

}  // namespace orv
