#pragma once

#include <cstdint>
#include <memory>

#include "Scan/results/FileTypeSummary.h"
#include "Scan/results/RecordChain.h"
#include "Scan/results/SDirectory.h"
#include "Scan/results/SFile.h"
#include "Scan/results/SHSMScoring.h"
#include "Scan/results/SSizeDist.h"
#include "Scan/results/SSummary.h"
#include "Scan/results/STimeDist.h"
#include "Scan/results/SUserOrGroup.h"

namespace orv {

class GenericPrint;

// Everything that one profile gathered on one filesystem or monitored directory. A slot stays empty
// when the profile did not ask for it; chains run from the highest rank down. Built by a
// CuStatAccum, which fills it during the walk, and owned by a ResultsByFS afterwards. The users,
// groups and file types that the records refer to are borrowed from the scan's tables: write the
// results while those exist.
struct CuStatResults {
  static constexpr const char* ENTITY_NAME = "CuStatResults";

  CuStatResults() = default;
  CuStatResults(const CuStatResults&) = delete;
  CuStatResults& operator=(const CuStatResults&) = delete;
  virtual ~CuStatResults() = default;

  // "srID", then the names of the slots.
  static void printHeader(GenericPrint& print);
  // The whole entity: begin line, a data line of srID and the number of records per slot, the
  // filled slots as nested entities with the slot's name as qualifier, end line. Owners, groups and
  // file types are followed by the identities that they refer to.
  void printData(GenericPrint& print) const;

  std::int32_t srID = 0;  // the profile's sdID
  RecordChain<SDirectory> srLargestDirectories;
  RecordChain<SFile> srLargestFiles;
  RecordChain<SFile> srLeastAccessed;
  RecordChain<SFile> srOldestNotBackedUp;
  RecordChain<SFile> srLargestOrphans;
  RecordChain<SFile> srOldestOrphans;
  RecordChain<FileTypeSummary> srFileTypes;
  std::unique_ptr<SSummary> srSummary;
  std::unique_ptr<SSizeDist> srSizeDist;
  RecordChain<SUserOrGroup> srOwners;
  RecordChain<SUserOrGroup> srGroups;
  std::unique_ptr<STimeDist> srAccessed;
  std::unique_ptr<STimeDist> srModified;
  std::unique_ptr<STimeDist> srCreated;
  std::unique_ptr<STimeDist> srBackup;
  std::unique_ptr<SHSMScoring> srHSMScoring;
};

}  // namespace orv
