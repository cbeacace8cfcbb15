#include "orvctl/report/WatchedReport.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "orvctl/report/ReportSections.h"
#include "orvctl/text/DisplayText.h"
#include "orvctl/text/TextTable.h"
#include "orvctl/text/Units.h"
#include "runtime/ut/ScanPaths.h"

namespace orv::ctl {
namespace {

// A monitored directory that the scan met.
struct Watched {
  std::string path;  // printable
  const Entity* results;
  bool hasSummary = false;  // only then there are totals
  std::int64_t files = 0;
  std::int64_t directories = 0;
  std::int64_t size = 0;
};

Watched readWatched(const ResultFile& result, const Record& directory, const Entity& results) {
  Watched watched{printable(withoutTrailingSlash(directory.text("faName"))), &results};
  if (const Entity* summary = results.child("SSummary"))
    for (const Record& record : result.records(*summary)) {
      watched.hasSummary = true;
      watched.files = record.number("sumFileCount");
      watched.directories = record.number("sumDirectoryCount");
      watched.size = record.number("sumTotalSize");
    }
  return watched;
}

std::string renderTable(const std::vector<Watched>& all, const ReportOptions& options) {
  using Kind = TextTable::Kind;
  TextTable table({{"size", Kind::FIGURE},
                   {"files", Kind::FIGURE},
                   {"dirs", Kind::FIGURE},
                   {"path", Kind::PATH}});
  const std::size_t shown = std::min(all.size(), static_cast<std::size_t>(options.top));
  const auto figure = [](const Watched& watched, const std::string& text) {
    return watched.hasSummary ? text : "-";
  };
  for (std::size_t i = 0; i < shown; ++i) {
    const Watched& row = all[i];
    table.addRow({figure(row, sizeText(row.size)), figure(row, countText(row.files)),
                  figure(row, countText(row.directories)), row.path});
  }
  std::string out = table.isEmpty() ? std::string() : table.render(options.style);
  if (shown < all.size())
    out += fmt::format("  ({} more)\n", countText(static_cast<std::int64_t>(all.size() - shown)));
  return out;
}

std::string renderDirectory(const ResultFile& result, const Record& profile, const Watched& watched,
                            const ReportOptions& options) {
  std::string out =
      emphasized("Watched directory " + watched.path, Emphasis::TITLE, options.style) + "\n";
  if (watched.hasSummary)
    out += fmt::format("  {} files, {} directories, {} ({} bytes)\n", countText(watched.files),
                       countText(watched.directories), sizeText(watched.size),
                       countText(watched.size));
  return out + renderSections(result, profile, *watched.results, options) + "\n";
}

}  // namespace

std::string renderWatched(const ResultFile& result, const Record& profile,
                          const Entity& profileEntity, const std::vector<Record>& specs,
                          const ReportOptions& options) {
  std::vector<Watched> all;
  std::set<std::int64_t> met;  // specifications
  for (const Entity& entry : profileEntity.children) {
    if (entry.name != "ResultsByFS")
      continue;
    const Entity* directory = entry.child("SMonDir");
    const Entity* results = entry.child("CuStatResults");
    if (directory == nullptr || results == nullptr)
      return {};
    for (const Record& record : result.records(*directory)) {
      all.push_back(readWatched(result, record, *results));
      for (const std::int64_t spec : record.list("smDirSpecs"))
        met.insert(spec);
    }
  }
  std::stable_sort(all.begin(), all.end(),
                   [](const Watched& a, const Watched& b) { return a.size > b.size; });

  std::string out;
  for (const Record& spec : specs)
    if (!met.contains(spec.number("mdsID")))
      out += fmt::format("  no directory was met for {}\n", printable(spec.text("mdsPath")));
  if (all.empty() && out.empty())
    return {};
  out = emphasized("Watched directories", Emphasis::TITLE, options.style) +
        fmt::format(" (profile: {})\n", printable(profile.text("sdName"))) +
        renderTable(all, options) + out + "\n";
  for (std::size_t i = 0; i < std::min(all.size(), static_cast<std::size_t>(options.top)); ++i)
    out += renderDirectory(result, profile, all[i], options);
  return out;
}

}  // namespace orv::ctl
