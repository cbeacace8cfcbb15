#include "orvctl/model/StatisticsReader.h"

#include <algorithm>
#include <array>
#include <map>
#include <numeric>
#include <span>
#include <string_view>

#include "orvctl/text/Utf8.h"

namespace orv::ctl {
namespace {

using Numbers = std::vector<std::int64_t>;

// The data lines in a slot; none when the slot was not filled.
std::vector<Record> slotOf(const ResultFile& result, const Entity& results, std::string_view entity,
                           std::string_view slot) {
  const Entity* found = results.child(entity, slot);
  return found == nullptr ? std::vector<Record>() : result.records(*found);
}

std::int64_t sumOf(const Numbers& values) {
  return std::accumulate(values.begin(), values.end(), std::int64_t{0});
}

// ---- Distributions

// The last size and the last age that belong to each class; what follows has no end.
constexpr std::array<std::int64_t, 7> SIZE_BOUNDS = {2, 20, 200, 2048, 20480, 204800, 1024000};
constexpr std::int64_t DAY = 86400;
constexpr std::int64_t YEAR = 31557600;
constexpr std::array<std::int64_t, 8> AGE_BOUNDS = {DAY,      7 * DAY,   30 * DAY,  60 * DAY,
                                                    90 * DAY, 180 * DAY, 270 * DAY, YEAR};

// `step` lies between the end of a class and the beginning of the next.
std::vector<Class> classesOf(std::span<const std::int64_t> bounds, std::int64_t step,
                             const Numbers& counts, const Numbers& sizes) {
  std::vector<Class> classes(bounds.size() + 1);
  for (std::size_t i = 0; i < bounds.size(); ++i) {
    classes[i].to = bounds[i];
    classes[i + 1].from = bounds[i] + step;
  }
  for (std::size_t i = 0; i < classes.size() && i < counts.size() && i < sizes.size(); ++i) {
    classes[i].entries = counts[i];
    classes[i].bytes = sizes[i];
  }
  return classes;
}

std::vector<Class> readSizes(const ResultFile& result, const Entity& results) {
  for (const Record& record : slotOf(result, results, "SSizeDist", "srSizeDist")) {
    std::vector<Class> classes =
        classesOf(SIZE_BOUNDS, 1, record.list("szdCounts"), record.list("szdSizes"));
    classes.front().from = 0;
    return classes;
  }
  return {};
}

std::vector<AgeDistribution> readAges(const ResultFile& result, const Entity& results) {
  struct Slot {
    AgeKind kind;
    std::string_view name;
  };
  static constexpr std::array<Slot, 4> SLOTS = {{{AgeKind::ACCESSED, "srAccessed"},
                                                 {AgeKind::MODIFIED, "srModified"},
                                                 {AgeKind::CREATED, "srCreated"},
                                                 {AgeKind::BACKED_UP, "srBackup"}}};
  std::vector<AgeDistribution> ages;
  for (const Slot& slot : SLOTS)
    for (const Record& record : slotOf(result, results, "STimeDist", slot.name)) {
      Numbers counts = record.list("tdCounts");
      Numbers sizes = record.list("tdSizes");
      // A distribution that nothing was counted in was not gathered: the platform keeps no such
      // time.
      if (sumOf(counts) == 0)
        continue;
      AgeDistribution age{slot.kind, classesOf(AGE_BOUNDS, 0, counts, sizes),
                          record.number("tdAverageAge")};
      counts.resize(AGE_BOUNDS.size() + 2);
      sizes.resize(AGE_BOUNDS.size() + 2);
      age.classes.front().from = -DAY;
      age.classes.push_back({std::nullopt, -DAY, counts.back(), sizes.back()});
      ages.push_back(std::move(age));
    }
  return ages;
}

// ---- Rankings

struct RankingSlot {
  RankingKind kind;
  std::string_view slot;
  std::string_view limitField;  // of the profile
};
constexpr std::array<RankingSlot, 5> RANKING_SLOTS = {
    {{RankingKind::LARGEST_FILES, "srLargestFiles", "sdLargestFiles"},
     {RankingKind::LEAST_ACCESSED, "srLeastAccessed", "sdLeastAccessed"},
     {RankingKind::OLDEST_NOT_BACKED_UP, "srOldestNotBackedUp", "sdOldestNotBackedUp"},
     {RankingKind::LARGEST_ORPHANS, "srLargestOrphans", "sdLargestOrphans"},
     {RankingKind::OLDEST_ORPHANS, "srOldestOrphans", "sdOldestOrphans"}}};

// Largest files are ranked by the low 32 bits of their size as a signed number.
constexpr std::int64_t FIRST_MISRANKED = 1LL << 31;

std::vector<Ranking> readRankings(const ResultFile& result, const Record& profile,
                                  const Entity& results) {
  std::vector<Ranking> rankings;
  for (const RankingSlot& slot : RANKING_SLOTS) {
    Ranking ranking{slot.kind, profile.number(slot.limitField), {}, false};
    for (const Record& record : slotOf(result, results, "SFile", slot.slot))
      ranking.files.push_back(readEntry(record));
    // No file is known not to be backed up where the filesystem keeps no archive flag; an empty
    // list would be read as good news.
    if (ranking.files.empty() &&
        (ranking.limit == 0 || slot.kind == RankingKind::OLDEST_NOT_BACKED_UP))
      continue;
    rankings.push_back(std::move(ranking));
  }
  return rankings;
}

// An owner's largest file tells of files that the ranking does not hold.
void markMisranked(Statistics& statistics) {
  const bool large = std::ranges::any_of(
      statistics.owners, [](const Account& owner) { return owner.largestFile >= FIRST_MISRANKED; });
  for (Ranking& ranking : statistics.rankings)
    if (ranking.kind == RankingKind::LARGEST_FILES)
      ranking.misranked = large || std::ranges::any_of(ranking.files, [](const Entry& file) {
                            return file.bytes >= FIRST_MISRANKED;
                          });
}

std::vector<RankedDirectory> readDirectories(const ResultFile& result, const Entity& results) {
  std::vector<RankedDirectory> directories;
  for (const Record& record : slotOf(result, results, "SDirectory", "srLargestDirectories")) {
    RankedDirectory directory{readEntry(record), {}};
    directory.direct.files = record.number("dirFileCount");
    directory.direct.directories = record.number("dirDirectoryCount");
    directory.direct.bytes = record.number("dirTotalSize");
    directories.push_back(std::move(directory));
  }
  return directories;
}

// ---- Accounts and types

constexpr auto MORE_BYTES = [](const auto& a, const auto& b) { return a.bytes > b.bytes; };

struct AccountSlot {
  std::string_view slot;
  std::string_view idField;
};

std::map<std::int64_t, std::string> namesOf(const std::vector<Record>& records,
                                            std::string_view idField, std::string_view nameField) {
  std::map<std::int64_t, std::string> names;
  for (const Record& record : records)
    names.emplace(record.number(idField), utf8Text(record.text(nameField)));
  return names;
}

std::string nameOf(const std::map<std::int64_t, std::string>& names, std::int64_t id) {
  const auto found = names.find(id);
  return found == names.end() ? std::to_string(id) : found->second;
}

std::vector<Account> readAccounts(const ResultFile& result, const Entity& results,
                                  const AccountSlot& slot) {
  const auto names =
      namesOf(slotOf(result, results, "UserOrGroup", slot.slot), slot.idField, "ugName");
  std::vector<Account> accounts;
  for (const Record& record : slotOf(result, results, "SUserOrGroup", slot.slot)) {
    const std::int64_t id = record.number("sugIdentity");
    accounts.push_back({id,
                        nameOf(names, id),
                        {record.number("sugFileCount"), record.number("sugDirectoryCount"),
                         record.number("sugOtherCount"), record.number("sugTotalSize")},
                        record.number("sugLargestSize"),
                        {}});
  }
  std::ranges::stable_sort(accounts, std::ranges::greater{},
                           [](const Account& account) { return account.totals.bytes; });
  return accounts;
}

std::vector<FileType> readTypes(const ResultFile& result, const Entity& results) {
  const auto names =
      namesOf(slotOf(result, results, "FileType", "srFileTypes"), "fptID", "ftpFileExtension");
  std::vector<FileType> types;
  for (const Record& record : slotOf(result, results, "FileTypeSummary", "srFileTypes"))
    types.push_back({nameOf(names, record.number("fileType")), record.number("fileCount"),
                     record.number("spaceUsed")});
  std::ranges::stable_sort(types, MORE_BYTES);
  return types;
}

}  // namespace

Entry readEntry(const Record& record) {
  static constexpr std::int64_t ORPHAN = 131072;
  const std::int64_t type = record.number("faType");
  const bool known = type > 0 && type <= static_cast<std::int64_t>(EntryType::DEVICE);
  return {utf8Text(record.text("faName")),
          known ? static_cast<EntryType>(type) : EntryType::UNKNOWN,
          utf8Text(record.text("faOwner")),
          utf8Text(record.text("faGroup")),
          (record.number("faAttributes") & ORPHAN) != 0,
          record.number("faLength"),
          record.number("faBlocks") * CAPACITY_UNIT,
          record.number("faModified"),
          record.number("faAccessed"),
          record.number("faLinkCount"),
          record.number("faInodeNumber")};
}

std::optional<Totals> readTotals(const ResultFile& result, const Entity& results) {
  for (const Record& record : slotOf(result, results, "SSummary", "srSummary")) {
    Totals totals{record.number("sumFileCount"), record.number("sumDirectoryCount"), std::nullopt,
                  record.number("sumTotalSize")};
    // The size distribution counts every entry, the summary only files and directories.
    for (const Record& sizes : slotOf(result, results, "SSizeDist", "srSizeDist"))
      totals.others = std::max<std::int64_t>(
          sumOf(sizes.list("szdCounts")) - totals.files - totals.directories, 0);
    return totals;
  }
  return std::nullopt;
}

Statistics readStatistics(const ResultFile& result, const Record& profile, const Entity& results) {
  Statistics statistics;
  statistics.totals = readTotals(result, results);
  statistics.sizes = readSizes(result, results);
  statistics.ages = readAges(result, results);
  statistics.owners = readAccounts(result, results, {"srOwners", "ugID"});
  statistics.groups = readAccounts(result, results, {"srGroups", "ugGroupID"});
  statistics.types = readTypes(result, results);
  statistics.largestDirectories = readDirectories(result, results);
  statistics.rankings = readRankings(result, profile, results);
  markMisranked(statistics);
  return statistics;
}

}  // namespace orv::ctl
