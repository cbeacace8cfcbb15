#include "Scan/accumulate/Statistics.h"

#include <algorithm>
#include <string_view>

#include "Common/ORVCommon/CommonAgentFactory.h"
#include "Probe/Filesystem.h"
#include "Scan/accumulate/DistributionAccums.h"
#include "Scan/accumulate/EntryAccums.h"
#include "Scan/accumulate/TotalsAccums.h"
#include "Scan/definition/CuStatDef.h"
#include "Scan/results/CuStatResults.h"

namespace orv {
namespace {

using Request = StatisticRequest;
using AccumulatorPtr = std::unique_ptr<Accumulator>;

// One statistic: its accumulator's class, whether the profile asks for it, and how it is made.
struct Statistic {
  const char* name;
  bool (*wanted)(const Request&);
  AccumulatorPtr (*make)(const Request&);
};

template <typename RankingAccum, auto Count>
// Each statistic is three things that differ by type only: the templates keep the table one row
// each.
constexpr Statistic ranking(const char* name) {
  return {name, [](const Request& r) { return r.profile.*Count > 0; },
          [](const Request& r) -> AccumulatorPtr {
            return std::make_unique<RankingAccum>(r.profile.*Count);
          }};
}

template <auto Switch, int Kind>
constexpr Statistic totals() {
  return {"UserOrGroupAccum", [](const Request& r) { return r.profile.*Switch && r.hasOwners; },
          [](const Request& r) -> AccumulatorPtr {
            return std::make_unique<UserOrGroupAccum>(Kind, r.filesystem);
          }};
}

template <typename AgeAccum, auto Switch, auto Slot, TimeDistType Type>
constexpr Statistic ages(const char* name) {
  return {name, [](const Request& r) { return r.profile.*Switch; },
          [](const Request& r) -> AccumulatorPtr {
            // The results own the record, the accumulator fills it: what was gathered outlives who
            // gathered it.
            auto record = std::make_unique<STimeDist>();
            record->tdFilesystemID = r.filesystem.fsID;
            record->tdStatisticID = r.profile.sdID;
            record->tdType = Type;
            record->tdScanTime = r.scanTime;
            auto accumulator = std::make_unique<AgeAccum>(record.get());
            r.results.*Slot = std::move(record);
            return accumulator;
          }};
}

// The one switch that is compared with 1: any other value builds nothing. Deliberate.
bool wantsSummary(const Request& r) {
  return r.profile.sdSummary == 1;
}

AccumulatorPtr makeSummary(const Request& r) {
  auto record = std::make_unique<SSummary>();
  record->sumFilesystemID = r.filesystem.fsID;
  record->sumStatisticID = r.profile.sdID;
  // The figures of now: those of the first profile are set again when the walk has ended.
  record->sumCapacity = r.filesystem.fsCapacity;
  record->sumFreeSpace = r.filesystem.fsFreeSpace;
  record->sumUsedSpace = r.filesystem.fsUsedSpace;
  record->sumScanTime = r.scanTime;
  auto accumulator = std::make_unique<SummaryAccum>(record.get());
  r.results.srSummary = std::move(record);
  return accumulator;
}

bool wantsSizeDistribution(const Request& r) {
  return r.profile.sdSizeDistribution;
}

AccumulatorPtr makeSizeDistribution(const Request& r) {
  auto record = std::make_unique<SSizeDist>();
  record->szdFilesystemID = r.filesystem.fsID;
  record->szdStatisticID = r.profile.sdID;
  auto accumulator = std::make_unique<SizeDistAccum>(record.get());
  r.results.srSizeDist = std::move(record);
  return accumulator;
}

bool wantsFileTypes(const Request& r) {
  // Some profiles ask for types on Windows only; here they get none.
  return r.profile.sdLargestFileTypes > 0 &&
         (!r.profile.sdWinOnlyFileType || CommonAgentFactory::getCommonAgent()->isWindows);
}

AccumulatorPtr makeFileTypes(const Request& r) {
  return std::make_unique<FileTypeAccum>(r.profile.sdID, r.profile.sdLargestFileTypes);
}

using Def = CuStatDef;
using Results = CuStatResults;

// In the order of creation; entries are shown to the accumulators in the reverse of it.
// clang-format off
constexpr Statistic STATISTICS[] = {
    ranking<LargeFileAccum,      &Def::sdLargestFiles>     ("LargeFileAccum"),
    ranking<OldFileAccum,        &Def::sdLeastAccessed>    ("OldFileAccum"),
    ranking<VulnerableFileAccum, &Def::sdOldestNotBackedUp>("VulnerableFileAccum"),
    ranking<LargestOrphansAccum, &Def::sdLargestOrphans>   ("LargestOrphansAccum"),
    ranking<OldestOrphansAccum,  &Def::sdOldestOrphans>    ("OldestOrphansAccum"),
    totals<&Def::sdGroupByOwner, UserOrGroupAccum::OWNERS>(),
    totals<&Def::sdGroupByGroup, UserOrGroupAccum::GROUPS>(),
    {"SummaryAccum",  wantsSummary,          makeSummary},
    {"SizeDistAccum", wantsSizeDistribution, makeSizeDistribution},
    ages<AccessedDistAccum, &Def::sdGroupByAccess,   &Results::srAccessed, TD_ACCESSED>("AccessedDistAccum"),
    ages<ModifiedDistAccum, &Def::sdGroupByMod,      &Results::srModified, TD_MODIFIED>("ModifiedDistAccum"),
    ages<CreatedDistAccum,  &Def::sdGroupByCreation, &Results::srCreated,  TD_CREATED> ("CreatedDistAccum"),
    ages<BackupDistAccum,   &Def::sdGroupByBackup,   &Results::srBackup,   TD_BACKUP>  ("BackupDistAccum"),
    {"FileTypeAccum", wantsFileTypes,        makeFileTypes},
};
// clang-format on

}  // namespace

std::vector<AccumulatorPtr> makeAccumulators(const StatisticRequest& request) {
  std::vector<AccumulatorPtr> made;
  for (const Statistic& statistic : STATISTICS)
    if (statistic.wanted(request))
      made.push_back(statistic.make(request));
  return made;
}

bool isStatistic(const ListElement& element) noexcept {
  return element.accumulator() != nullptr &&
         std::any_of(std::begin(STATISTICS), std::end(STATISTICS), [&](const Statistic& row) {
           // By name and not by type, so that an element of another class, whoever hung it in, is
           // told apart.
           return std::string_view(row.name) == element.objectName();
         });
}

}  // namespace orv
