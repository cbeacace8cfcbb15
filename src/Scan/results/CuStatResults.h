#pragma once

#include <cstdint>
#include <deque>
#include <memory>

#include "Scan/results/DistributionRecords.h"
#include "Scan/results/EntryRecords.h"
#include "Scan/results/RecordChain.h"
#include "Scan/results/TotalsRecords.h"

namespace orv {

class Filesystem;
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

// Pairs what a profile gathered with the filesystem or the monitored directory that it was gathered
// on. Owned by its profile. An entry of a filesystem gets its results after the walk; one of a
// monitored directory is made with them.
class ResultsByFS final {
 public:
  static constexpr const char* ENTITY_NAME = "ResultsByFS";

  // `filesystem` is not owned and must outlive the entry.
  explicit ResultsByFS(const Filesystem& filesystem) noexcept : m_filesystem(filesystem) {}
  // `monDir` lies in `filesystem`.
  ResultsByFS(const Filesystem& filesystem, std::shared_ptr<const SMonDir> monDir,
              std::unique_ptr<CuStatResults> results) noexcept;
  ResultsByFS(const ResultsByFS&) = delete;
  ResultsByFS& operator=(const ResultsByFS&) = delete;

  // "rfResults", "rfDirOrFS".
  static void printHeader(GenericPrint& print);
  // The whole entity, its results nested; nothing for an entry without results.
  void printData(GenericPrint& print) const;

  // The filesystem that was walked.
  [[nodiscard]] const Filesystem& filesystem() const noexcept { return m_filesystem; }
  // The monitored directory; null when the subject is the filesystem itself.
  [[nodiscard]] const SMonDir* monDir() const noexcept { return m_monDir.get(); }

  std::unique_ptr<CuStatResults> rfResults;  // null until gathered

 private:
  const Filesystem& m_filesystem;
  std::shared_ptr<const SMonDir> m_monDir;
};

using ResultsByFSList = std::deque<std::unique_ptr<ResultsByFS>>;

}  // namespace orv
