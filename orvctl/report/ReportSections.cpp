#include "orvctl/report/ReportSections.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <map>
#include <numeric>
#include <span>

#include "orvctl/text/DisplayText.h"
#include "orvctl/text/TextTable.h"
#include "orvctl/text/Units.h"

namespace orv::ctl {
namespace {

using Kind = TextTable::Kind;

// What every section is made from.
struct Context {
  const ResultFile& result;
  const Record& profile;
  const Entity& results;
  const ReportOptions& options;

  // The data lines in a slot; none when the slot was not filled.
  [[nodiscard]] std::vector<Record> slot(std::string_view entity, std::string_view name) const {
    const Entity* found = results.child(entity, name);
    return found == nullptr ? std::vector<Record>() : result.records(*found);
  }
  [[nodiscard]] std::size_t shown(std::size_t count) const {
    return std::min(count, static_cast<std::size_t>(options.top));
  }
};

// A table under its title, with a line for what the list holds beyond the rows that are shown.
std::string titled(const Context& context, std::string_view title, const TextTable& table,
                   std::size_t count, std::string_view note = {}) {
  std::string out = "\n" + emphasized(title, Emphasis::TITLE, context.options.style) + "\n" +
                    table.render(context.options.style);
  if (const std::size_t shown = context.shown(count); shown < count)
    out += fmt::format("  ({} more)\n", countText(static_cast<std::int64_t>(count - shown)));
  if (!note.empty())
    out += fmt::format("  {}\n", note);
  return out;
}

std::string emptySection(const Context& context, std::string_view title) {
  return "\n" + emphasized(title, Emphasis::TITLE, context.options.style) + ": none\n";
}

// ---- Distributions, which count every entry, directories among them

struct Distribution {
  std::string_view entity;
  std::string_view slot;
  std::string_view title;
  std::string_view sizes;   // field of the sums per bucket
  std::string_view counts;  // field of the entries per bucket
  std::span<const std::string_view> labels;
};

constexpr std::array<std::string_view, 8> SIZE_LABELS = {
    "up to 2 B",  "3 - 20 B",     "21 - 200 B",     "201 B - 2 KiB",
    "2 - 20 KiB", "20 - 200 KiB", "200 - 1000 KiB", "above 1000 KiB"};
constexpr std::array<std::string_view, 10> AGE_LABELS = {
    "up to 1 day",   "1 - 7 days",     "7 - 30 days",    "30 - 60 days", "60 - 90 days",
    "90 - 180 days", "180 - 270 days", "270 - 365 days", "above 1 year", "in the future"};

// clang-format off
constexpr std::array<Distribution, 5> DISTRIBUTIONS = {{
    {"SSizeDist", "srSizeDist", "Entries by size",             "szdSizes", "szdCounts", SIZE_LABELS},
    {"STimeDist", "srAccessed", "Entries by last access",      "tdSizes",  "tdCounts",  AGE_LABELS},
    {"STimeDist", "srModified", "Entries by last modification", "tdSizes",  "tdCounts",  AGE_LABELS},
    {"STimeDist", "srCreated",  "Entries by creation",         "tdSizes",  "tdCounts",  AGE_LABELS},
    {"STimeDist", "srBackup",   "Entries by age since backup",   "tdSizes",  "tdCounts",  AGE_LABELS},
}};
// clang-format on

double sumOf(const std::vector<std::int64_t>& values) {
  return std::accumulate(values.begin(), values.end(), 0.0);
}

std::string renderDistribution(const Context& context, const Distribution& distribution) {
  const std::vector<Record> records = context.slot(distribution.entity, distribution.slot);
  if (records.empty())
    return {};
  std::vector<std::int64_t> sizes = records.front().list(distribution.sizes);
  std::vector<std::int64_t> counts = records.front().list(distribution.counts);
  sizes.resize(distribution.labels.size());
  counts.resize(distribution.labels.size());
  const double allSizes = sumOf(sizes);
  const double allCounts = sumOf(counts);
  if (allCounts == 0)
    return {};

  // The longest bar is the largest bucket.
  const auto largest = static_cast<double>(*std::max_element(sizes.begin(), sizes.end()));
  TextTable table({{distribution.entity == "SSizeDist" ? "size of entry" : "age", Kind::TEXT},
                   {"entries", Kind::FIGURE},
                   {"share", Kind::FIGURE},
                   {"size", Kind::FIGURE},
                   {"share", Kind::FIGURE},
                   {"", Kind::BAR}});
  for (std::size_t i = 0; i < distribution.labels.size(); ++i) {
    const auto size = static_cast<double>(sizes[i]);
    table.addRow({std::string(distribution.labels[i]), countText(counts[i]),
                  shareText(static_cast<double>(counts[i]), allCounts), sizeText(sizes[i]),
                  shareText(size, allSizes), ""},
                 largest > 0 ? size / largest : 0);
  }
  std::string note;
  if (distribution.entity == "STimeDist")
    note = "average age " + ageText(records.front().number("tdAverageAge"));
  return titled(context, distribution.title, table, 0, note);
}

// ---- Rankings of files and directories

struct FileRanking {
  std::string_view slot;
  std::string_view profileField;  // asks for the ranking; when empty, only a filled one is shown
  std::string_view title;
  std::string_view timeField;  // the time that tells most about these files
  const char* timeTitle;
};

// No file is known not to be backed up where the filesystem keeps no archive flag; "none" would be
// read as good news.
// clang-format off
constexpr std::array<FileRanking, 5> FILE_RANKINGS = {{
    {"srLargestFiles",      "sdLargestFiles",      "Largest files",                 "faModified", "modified"},
    {"srLeastAccessed",     "sdLeastAccessed",     "Least recently accessed files", "faAccessed", "accessed"},
    {"srOldestNotBackedUp", "",                    "Oldest files not backed up",    "faModified", "modified"},
    {"srLargestOrphans",    "sdLargestOrphans",    "Largest orphaned files",        "faModified", "modified"},
    {"srOldestOrphans",     "sdOldestOrphans",     "Oldest orphaned files",         "faAccessed", "accessed"},
}};
// clang-format on

// The ranking of the largest files takes their sizes modulo 4 GiB, as signed numbers. The owners'
// largest files tell whether there are files which that concerns.
std::string largestFilesNote(const Context& context) {
  constexpr std::int64_t FIRST_MISRANKED = 1LL << 31;
  for (const Record& owner : context.slot("SUserOrGroup", "srOwners"))
    if (owner.number("sugLargestSize") >= FIRST_MISRANKED)
      return "There are files of 2 GiB and more: they can rank too low here or be missing.";
  return {};
}

std::string renderFileRanking(const Context& context, const FileRanking& ranking) {
  const std::vector<Record> records = context.slot("SFile", ranking.slot);
  if (records.empty())
    return context.profile.number(ranking.profileField) > 0 ? emptySection(context, ranking.title)
                                                            : std::string();
  TextTable table({{"", Kind::FIGURE},
                   {"size", Kind::FIGURE},
                   {ranking.timeTitle, Kind::TEXT},
                   {"owner", Kind::TEXT},
                   {"path", Kind::PATH}});
  for (std::size_t i = 0; i < context.shown(records.size()); ++i)
    table.addRow({std::to_string(i + 1), sizeText(records[i].number("faLength")),
                  dateText(records[i].number(ranking.timeField)),
                  printable(records[i].text("faOwner")), printable(records[i].text("faName"))});
  return titled(context, ranking.title, table, records.size(),
                ranking.slot == "srLargestFiles" ? largestFilesNote(context) : std::string());
}

std::string renderDirectories(const Context& context) {
  constexpr std::string_view TITLE = "Largest directories (by what lies directly in them)";
  const std::vector<Record> records = context.slot("SDirectory", "srLargestDirectories");
  if (records.empty())
    return {};
  TextTable table({{"", Kind::FIGURE},
                   {"size", Kind::FIGURE},
                   {"files", Kind::FIGURE},
                   {"dirs", Kind::FIGURE},
                   {"owner", Kind::TEXT},
                   {"path", Kind::PATH}});
  for (std::size_t i = 0; i < context.shown(records.size()); ++i) {
    const Record& record = records[i];
    table.addRow({std::to_string(i + 1), sizeText(record.number("dirTotalSize")),
                  countText(record.number("dirFileCount")),
                  countText(record.number("dirDirectoryCount")), printable(record.text("faOwner")),
                  printable(record.text("faName"))});
  }
  return titled(context, TITLE, table, records.size());
}

// ---- Owners, groups, file types

// Names of the identities that stand beside the records of a slot, by their number.
std::map<std::int64_t, std::string> namesById(const Context& context, std::string_view entity,
                                              std::string_view slot, std::string_view idField,
                                              std::string_view nameField) {
  std::map<std::int64_t, std::string> names;
  for (const Record& record : context.slot(entity, slot))
    names.emplace(record.number(idField), printable(record.text(nameField)));
  return names;
}

std::string nameOf(const std::map<std::int64_t, std::string>& names, std::int64_t id) {
  const auto found = names.find(id);
  return found == names.end() ? std::to_string(id) : found->second;
}

std::string renderOwners(const Context& context, std::string_view slot, std::string_view idField,
                         std::string_view title, const char* nameTitle) {
  std::vector<Record> records = context.slot("SUserOrGroup", slot);
  if (records.empty())
    return {};
  const auto names = namesById(context, "UserOrGroup", slot, idField, "ugName");
  // The result lists them by number; whoever holds most comes first here.
  std::vector<const Record*> bySize;
  double total = 0;
  for (const Record& record : records) {
    bySize.push_back(&record);
    total += static_cast<double>(record.number("sugTotalSize"));
  }
  std::stable_sort(bySize.begin(), bySize.end(), [](const Record* a, const Record* b) {
    return a->number("sugTotalSize") > b->number("sugTotalSize");
  });

  TextTable table({{nameTitle, Kind::TEXT},
                   {"files", Kind::FIGURE},
                   {"dirs", Kind::FIGURE},
                   {"size", Kind::FIGURE},
                   {"share", Kind::FIGURE},
                   {"largest file", Kind::FIGURE}});
  for (std::size_t i = 0; i < context.shown(bySize.size()); ++i) {
    const Record& record = *bySize[i];
    const std::int64_t size = record.number("sugTotalSize");
    table.addRow(
        {nameOf(names, record.number("sugIdentity")), countText(record.number("sugFileCount")),
         countText(record.number("sugDirectoryCount")), sizeText(size),
         shareText(static_cast<double>(size), total), sizeText(record.number("sugLargestSize"))});
  }
  return titled(context, title, table, records.size());
}

std::string renderFileTypes(const Context& context) {
  const std::vector<Record> records = context.slot("FileTypeSummary", "srFileTypes");
  if (records.empty())
    return {};
  const auto names = namesById(context, "FileType", "srFileTypes", "fptID", "ftpFileExtension");
  TextTable table({{"extension", Kind::TEXT},
                   {"files", Kind::FIGURE},
                   {"size", Kind::FIGURE},
                   {"average", Kind::FIGURE}});
  for (std::size_t i = 0; i < context.shown(records.size()); ++i) {
    const std::int64_t files = records[i].number("fileCount");
    const std::int64_t size = records[i].number("spaceUsed");
    table.addRow({nameOf(names, records[i].number("fileType")), countText(files), sizeText(size),
                  sizeText(size / std::max<std::int64_t>(files, 1))});
  }
  return titled(context, "File types", table, records.size());
}

}  // namespace

std::string renderSections(const ResultFile& result, const Record& profile, const Entity& results,
                           const ReportOptions& options) {
  const Context context{result, profile, results, options};
  std::string out;
  for (const Distribution& distribution : DISTRIBUTIONS)
    out += renderDistribution(context, distribution);
  out += renderDirectories(context);
  for (const FileRanking& ranking : FILE_RANKINGS)
    out += renderFileRanking(context, ranking);
  out += renderOwners(context, "srOwners", "ugID", "Owners", "owner");
  out += renderOwners(context, "srGroups", "ugGroupID", "Groups", "group");
  return out + renderFileTypes(context);
}

}  // namespace orv::ctl
