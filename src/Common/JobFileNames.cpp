#include "Common/JobFileNames.h"

#include "runtime/ut/Text.h"

namespace orv {

std::string jobFileName(const std::string& jobName, int jobRunNumber, int sidRunNumber,
                        const std::string& extension) {
  return jobName + formatText(".%08d_scan.%04d", jobRunNumber, sidRunNumber) + extension;
}

std::string JobFiles::path(const char* folder, const std::string& fileName) const {
  return installLocation + "/" + folder + "/" + serverName + "/" + fileName;
}

std::string JobFiles::numberedName(const char* extension) const {
  return jobFileName(jobName, jobRunNumber, sidRunNumber, extension);
}

std::string JobFiles::nameOrInitial(const char* extension) const {
  return jobName == INITIAL_SCAN_JOB ? jobName + extension : numberedName(extension);
}

std::string JobFiles::definitionFile() const {
  return path("input", nameOrInitial(".dat"));
}

std::string JobFiles::outputFile() const {
  return path("output", numberedName(".dat"));
}

std::string JobFiles::jobInfoFile() const {
  return path("output", numberedName(".jobinfo"));
}

std::string JobFiles::traceFile() const {
  return path("log", nameOrInitial(".trace"));
}

}  // namespace orv
