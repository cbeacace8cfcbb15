#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Scan/entry/FileAttributes.h"
#include "Scan/results/DistributionRecords.h"
#include "Scan/results/RecordChain.h"

namespace orv {

class Filesystem;
class GenericPrint;

// Which ranking a file was kept for (`sfStatType`).
enum FileStatKind : std::int16_t {
  SF_LARGEST_FILES = 0,
  SF_LEAST_ACCESSED = 1,
  SF_OLDEST_NOT_BACKED_UP = 2,
  SF_LARGEST_ORPHANS = 3,
  SF_OLDEST_ORPHANS = 4
};

// A file that a ranking keeps: a copy of its attributes and where it belongs. Owned by the ranking
// during the walk, by a slot of the CuStatResults afterwards.
struct SFile : FileAttributes {
  static constexpr const char* ENTITY_NAME = "SFile";

  // The record's own fields, then the twelve "fa" fields.
  static void printHeader(GenericPrint& print);
  virtual void printData(GenericPrint& print) const;

  std::unique_ptr<SFile> next;  // the file ranked next lower
  std::int32_t sfFilesystemID = 0;
  std::int32_t sfStatisticID = 0;
  std::int16_t sfStatType = SF_LARGEST_FILES;
};

// A file that scoring proposes for migration. Scoring is the server's: the job names the record's
// one field in the result's header section and writes no such record.
struct SFileCandidate final : SFile {
  static constexpr const char* ENTITY_NAME = "SFileCandidate";

  static void printHeader(GenericPrint& print);
  void printData(GenericPrint& print) const override;

  std::int32_t sfHSMScore = 0;
};

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

// A directory and the totals of its direct entries; what lies deeper is not added. Owned by the
// LargeDirAccum during the walk, by a slot of the CuStatResults afterwards.
struct SDirectory final : FileAttributes {
  static constexpr const char* ENTITY_NAME = "SDirectory";

  // The record's own fields, then the twelve "fa" fields.
  static void printHeader(GenericPrint& print);
  void printData(GenericPrint& print) const;

  std::int32_t dirFilesystemID = 0;
  std::int32_t dirStatisticID = 0;
  std::uint32_t dirFileCount = 0;       // regular files and symbolic links
  std::uint32_t dirDirectoryCount = 0;  // subdirectories
  std::int64_t dirTotalSize = 0;        // bytes, of direct entries of every type
  std::int64_t dirLargestSize = 0;      // bytes
  std::int64_t dir2ndLargestSize = 0;   // bytes
  std::array<std::int64_t, SizeRanges::BUCKETS> dirSizes{};  // bytes
  std::array<std::uint32_t, SizeRanges::BUCKETS> dirCounts{};

  // During the walk the open directory above, afterwards the directory ranked next lower.
  std::unique_ptr<SDirectory> next;
};

// A monitored directory that the walk met: its attributes and the specifications that name it. Made
// by an Activator and shared by the results of every profile that was activated with it.
struct SMonDir final : FileAttributes {
  static constexpr const char* ENTITY_NAME = "SMonDir";
  // smFilesystemID until the walk enters the directory.
  static constexpr std::int32_t NOT_ENTERED = -1;

  // The record's own fields, then the twelve "fa" fields.
  static void printHeader(GenericPrint& print);
  void printData(GenericPrint& print) const;

  std::int32_t smFilesystemID = NOT_ENTERED;
  std::int32_t smDirectoryID = 0;
  std::vector<std::int32_t> smDirSpecs;  // mdsIDs
  bool smNewDirectory = false;
  std::int64_t smScanTime = 0;  // milliseconds since 1970
  std::int64_t smRemovedTime = 0;
  const Filesystem* smFilesystem = nullptr;  // not owned; written as its fsID
};

}  // namespace orv
