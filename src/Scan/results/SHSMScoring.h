#pragma once

#include <cstdint>
#include <string>

#include "Scan/results/RecordChain.h"
#include "Scan/results/SFile.h"

namespace orv {

class GenericPrint;

// Header of a candidate scoring: what scoring found and the profile's settings that it used. Owned
// by its CuStatResults. The job does no scoring, so its slot stays empty in what the job writes.
struct SHSMScoring {
  static constexpr const char* ENTITY_NAME = "SHSMScoring";

  virtual ~SHSMScoring() = default;

  static void printHeader(GenericPrint& print);
  void printData(GenericPrint& print) const;

  std::int32_t cFilesystemID = 0;
  std::int32_t cStatisticID = 0;
  std::int64_t cCandidatesCounter = 0;
  std::int64_t cSpaceSavings = 0;
  std::int64_t cAge = 0;
  std::int64_t cMigratedFiles = 0;
  std::int64_t cMigratedData = 0;
  std::int64_t cPremigratedFiles = 0;
  std::int64_t cPremigratedData = 0;
  std::string cHSMVersion;
  std::int32_t cHSMState = 0;
  std::int32_t cHSMScoring = 0;
  std::int32_t cCandidatesToCollect = 0;
  RecordChain<SFile> cFileCandidates;  // written as their number
  std::int64_t cMinSize = 0;
  std::int64_t cMinAge = 0;
  std::int32_t cAgeFactor = 0;
  std::int32_t cSizeFactor = 0;
  std::string cAgeScores;
  std::string cSizeScores;
};

}  // namespace orv
