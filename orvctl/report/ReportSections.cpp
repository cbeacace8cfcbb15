#include "orvctl/report/ReportSections.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <span>

#include "orvctl/text/DisplayText.h"
#include "orvctl/text/TextTable.h"
#include "orvctl/text/Units.h"

namespace orv::ctl {
namespace {

using Kind = TextTable::Kind;

std::size_t shownOf(std::size_t count, const ReportOptions& options) {
  return std::min(count, static_cast<std::size_t>(options.top));
}

// A table under its title, with a line for what the list holds beyond the rows that are shown.
std::string titled(std::string_view title, const TextTable& table, std::size_t count,
                   const ReportOptions& options, std::string_view note = {}) {
  std::string out =
      emphasized(title, Emphasis::TITLE, options.style) + "\n" + table.render(options.style);
  if (const std::size_t shown = shownOf(count, options); shown < count)
    out += fmt::format("  ({} more)\n", countText(static_cast<std::int64_t>(count - shown)));
  if (!note.empty())
    out += fmt::format("  {}\n", note);
  return out + "\n";
}

// ---- Distributions, which count every entry, directories among them

std::string renderClasses(std::string_view title, std::span<const Class> classes,
                          std::string (*label)(const Class&), const char* labelTitle,
                          const ReportOptions& options, std::string_view note = {}) {
  double allBytes = 0;
  double allEntries = 0;
  double largest = 0;  // whose bar is the longest
  for (const Class& part : classes) {
    allBytes += static_cast<double>(part.bytes);
    allEntries += static_cast<double>(part.entries);
    largest = std::max(largest, static_cast<double>(part.bytes));
  }
  if (allEntries == 0)
    return {};
  TextTable table({{labelTitle, Kind::TEXT},
                   {"entries", Kind::FIGURE},
                   {"share", Kind::FIGURE},
                   {"size", Kind::FIGURE},
                   {"share", Kind::FIGURE},
                   {"", Kind::BAR}});
  for (const Class& part : classes) {
    const auto bytes = static_cast<double>(part.bytes);
    table.addRow({label(part), countText(part.entries),
                  shareText(static_cast<double>(part.entries), allEntries), sizeText(part.bytes),
                  shareText(bytes, allBytes), ""},
                 largest > 0 ? bytes / largest : 0);
  }
  return titled(title, table, 0, options, note);
}

std::string sizeClassText(const Class& part) {
  return sizeRangeText(part.from.value_or(0), part.to);
}

std::string ageClassText(const Class& part) {
  return ageRangeText(part.from, part.to);
}

std::string renderSizes(const Statistics& statistics, const ReportOptions& options) {
  return renderClasses("Entries by size", statistics.sizes, sizeClassText, "size of entry",
                       options);
}

std::string renderAges(const Statistics& statistics, const ReportOptions& options) {
  static constexpr std::array<std::pair<AgeKind, std::string_view>, 4> TITLES = {
      {{AgeKind::ACCESSED, "Entries by last access"},
       {AgeKind::MODIFIED, "Entries by last modification"},
       {AgeKind::CREATED, "Entries by creation"},
       {AgeKind::BACKED_UP, "Entries by age since backup"}}};
  std::string out;
  for (const auto& [kind, title] : TITLES)
    if (const AgeDistribution* age = statistics.age(kind))
      out += renderClasses(title, age->classes, ageClassText, "age", options,
                           "average age " + ageText(age->averageAge));
  return out;
}

// ---- Rankings of files and directories

struct FileRanking {
  RankingKind kind;
  std::string_view title;
  std::int64_t Entry::*time;  // the time that tells most about these files
  const char* timeTitle;
};

// clang-format off
constexpr FileRanking LARGEST = {RankingKind::LARGEST_FILES, "Largest files", &Entry::modified, "modified"};
constexpr FileRanking UNUSED = {RankingKind::LEAST_ACCESSED, "Least recently accessed files", &Entry::accessed, "accessed"};
constexpr std::array<FileRanking, 3> ORPHANS = {{
    {RankingKind::OLDEST_NOT_BACKED_UP, "Oldest files not backed up", &Entry::modified, "modified"},
    {RankingKind::LARGEST_ORPHANS,      "Largest orphaned files",     &Entry::modified, "modified"},
    {RankingKind::OLDEST_ORPHANS,       "Oldest orphaned files",      &Entry::accessed, "accessed"},
}};
// clang-format on

std::string renderRanking(const Statistics& statistics, const FileRanking& row,
                          const ReportOptions& options) {
  const Ranking* ranking = statistics.ranking(row.kind);
  if (ranking == nullptr)
    return {};
  if (ranking->files.empty())
    return emphasized(row.title, Emphasis::TITLE, options.style) + ": none\n\n";
  TextTable table({{"", Kind::FIGURE},
                   {"size", Kind::FIGURE},
                   {"on disk", Kind::FIGURE},
                   {row.timeTitle, Kind::TEXT},
                   {"owner", Kind::TEXT},
                   {"path", Kind::PATH}});
  for (std::size_t i = 0; i < shownOf(ranking->files.size(), options); ++i) {
    const Entry& file = ranking->files[i];
    table.addRow({std::to_string(i + 1), sizeText(file.bytes), sizeText(file.diskBytes),
                  dateText(file.*row.time), file.owner, pathText(file.path, options.style)});
  }
  return titled(row.title, table, ranking->files.size(), options,
                ranking->misranked ? "There are more files of 2 GiB and more than a ranking keeps: "
                                     "larger ones can be missing here."
                                   : "");
}

std::string renderFiles(const Statistics& statistics, const ReportOptions& options) {
  return renderRanking(statistics, LARGEST, options);
}

std::string renderUnused(const Statistics& statistics, const ReportOptions& options) {
  return renderRanking(statistics, UNUSED, options);
}

std::string renderOrphans(const Statistics& statistics, const ReportOptions& options) {
  std::string out;
  for (const FileRanking& row : ORPHANS)
    out += renderRanking(statistics, row, options);
  return out;
}

std::string renderDirect(const Statistics& statistics, const ReportOptions& options) {
  const auto& directories = statistics.largestDirectories;
  if (directories.empty())
    return {};
  TextTable table({{"", Kind::FIGURE},
                   {"size", Kind::FIGURE},
                   {"files", Kind::FIGURE},
                   {"dirs", Kind::FIGURE},
                   {"owner", Kind::TEXT},
                   {"path", Kind::PATH}});
  for (std::size_t i = 0; i < shownOf(directories.size(), options); ++i) {
    const RankedDirectory& row = directories[i];
    table.addRow({std::to_string(i + 1), sizeText(row.direct.bytes), countText(row.direct.files),
                  countText(row.direct.directories), row.entry.owner,
                  pathText(row.entry.path, options.style)});
  }
  return titled("Largest directories by what lies directly in them", table, directories.size(),
                options);
}

// ---- Owners, groups, file types

std::string renderAccounts(const std::vector<Account>& accounts, std::string_view title,
                           const char* nameTitle, const ReportOptions& options) {
  if (accounts.empty())
    return {};
  double total = 0;
  for (const Account& account : accounts)
    total += static_cast<double>(account.totals.bytes);
  TextTable table({{nameTitle, Kind::TEXT},
                   {"files", Kind::FIGURE},
                   {"dirs", Kind::FIGURE},
                   {"size", Kind::FIGURE},
                   {"share", Kind::FIGURE},
                   {"largest file", Kind::FIGURE}});
  for (std::size_t i = 0; i < shownOf(accounts.size(), options); ++i) {
    const Account& account = accounts[i];
    table.addRow({account.name, countText(account.totals.files),
                  countText(account.totals.directories), sizeText(account.totals.bytes),
                  shareText(static_cast<double>(account.totals.bytes), total),
                  sizeText(account.largestFile)});
  }
  return titled(title, table, accounts.size(), options);
}

std::string renderOwners(const Statistics& statistics, const ReportOptions& options) {
  return renderAccounts(statistics.owners, "Owners", "owner", options);
}

std::string renderGroups(const Statistics& statistics, const ReportOptions& options) {
  return renderAccounts(statistics.groups, "Groups", "group", options);
}

// Who has how much that was not used for so long: whoever has most of the oldest stands first.
std::string renderOldOf(const Root& root, const std::vector<Account>& accounts,
                        std::string_view title, const char* nameTitle,
                        const ReportOptions& options) {
  std::vector<TextTable::Column> columns = {{nameTitle, Kind::TEXT}, {"all", Kind::FIGURE}};
  for (const AgeLimit& age : root.ages)
    columns.push_back({"over " + ageLimitText(age.seconds), Kind::FIGURE});
  TextTable table(columns);
  std::vector<const Account*> byOldest;
  for (const Account& account : accounts)
    if (account.unused.size() == root.ages.size())
      byOldest.push_back(&account);
  std::ranges::stable_sort(byOldest, std::ranges::greater{},
                           [](const Account* account) { return account->unused.back().bytes; });
  for (std::size_t i = 0; i < shownOf(byOldest.size(), options); ++i) {
    std::vector<std::string> cells = {byOldest[i]->name, sizeText(byOldest[i]->totals.bytes)};
    for (const Unused& unused : byOldest[i]->unused)
      cells.push_back(sizeText(unused.bytes));
    table.addRow(std::move(cells));
  }
  return byOldest.empty() ? "" : titled(title, table, byOldest.size(), options);
}

std::string renderTypes(const Statistics& statistics, const ReportOptions& options) {
  if (statistics.types.empty())
    return {};
  TextTable table({{"extension", Kind::TEXT},
                   {"files", Kind::FIGURE},
                   {"size", Kind::FIGURE},
                   {"average", Kind::FIGURE}});
  for (std::size_t i = 0; i < shownOf(statistics.types.size(), options); ++i) {
    const FileType& type = statistics.types[i];
    table.addRow({type.extension, countText(type.files), sizeText(type.bytes),
                  sizeText(type.bytes / std::max<std::int64_t>(type.files, 1))});
  }
  return titled("File types", table, statistics.types.size(), options);
}

// The sections of one profile's statistics, in the order of the report.
struct StatisticsSection {
  Section section;
  std::string (*render)(const Statistics&, const ReportOptions&);
};
constexpr std::array<StatisticsSection, 9> STATISTICS = {{{Section::FILES, renderFiles},
                                                          {Section::SIZES, renderSizes},
                                                          {Section::AGES, renderAges},
                                                          {Section::OWNERS, renderOwners},
                                                          {Section::GROUPS, renderGroups},
                                                          {Section::UNUSED, renderUnused},
                                                          {Section::ORPHANS, renderOrphans},
                                                          {Section::TYPES, renderTypes},
                                                          {Section::DIRECT, renderDirect}}};

}  // namespace

bool ReportOptions::wants(Section section) const {
  if (!sections.empty())
    return sections.contains(section);
  return std::ranges::find(SECTIONS, section, &SectionName::section)->always;
}

std::string renderStatistics(const Statistics& statistics, const ReportOptions& options) {
  std::string out;
  for (const StatisticsSection& row : STATISTICS)
    out += row.render(statistics, options);
  return out;
}

std::string renderOld(const Root& root, const ReportOptions& options) {
  if (root.ages.empty())
    return {};
  const bool byAccess = root.ages.front().kind == AgeKind::ACCESSED;
  const std::string by = byAccess ? " by time since last access"
                                  : " by time since last modification (mounted with noatime)";
  return renderOldOf(root, root.main().owners, "Owners" + by, "owner", options) +
         renderOldOf(root, root.main().groups, "Groups" + by, "group", options);
}

std::string renderStatistics(Section section, const Root& root, const ReportOptions& options) {
  std::string out;
  for (const StatisticsSection& row : STATISTICS)
    if (row.section == section)
      for (const Profile& profile : root.profiles) {
        if (root.profiles.size() > 1)
          out += fmt::format("Profile {}: ", profile.name);
        out += row.render(profile.statistics, options);
      }
  return out;
}

}  // namespace orv::ctl
