#include "orvctl/history/HistoryText.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <vector>

#include "orvctl/text/DisplayText.h"
#include "orvctl/text/TextTable.h"
#include "orvctl/text/Units.h"

namespace orv::ctl {
namespace {

using Kind = TextTable::Kind;

// A day beyond this is as good as never.
constexpr double MAX_DAYS = 3650;

std::string signedSize(std::int64_t bytes) {
  return (bytes > 0 ? "+" : "") + sizeText(bytes);
}

std::string daysText(double days) {
  return days > MAX_DAYS ? "over 10 years" : fmt::format("{:.0f}", std::floor(days));
}

std::string counted(std::int64_t count, const char* one, const char* several) {
  return fmt::format("{} {}", countText(count), count == 1 ? one : several);
}

// Columns or cells, with that of the host before the last one where several hosts are shown.
template <typename Value>
std::vector<Value> withHost(bool several, std::vector<Value> values, Value host) {
  if (several)
    values.insert(values.end() - 1, std::move(host));
  return values;
}
const TextTable::Column HOST = {"host", Kind::TEXT};

std::string section(const std::string& title, const TextTable& table, std::size_t left,
                    const Style& style) {
  if (table.isEmpty())
    return {};
  std::string text = "\n" + emphasized(title, Emphasis::TITLE, style) + "\n" + table.render(style);
  if (left > 0)
    text += fmt::format("  ({} more)\n", countText(static_cast<std::int64_t>(left)));
  return text;
}

std::string figureSection(const std::string& title,
                          const std::vector<StoredFigures::Figure>& figures, const Style& style) {
  TextTable table({{"size", Kind::FIGURE}, {"entries", Kind::FIGURE}, {"name", Kind::PATH}});
  for (const StoredFigures::Figure& figure : figures)
    table.addRow({sizeText(figure.bytes), countText(figure.entries), printable(figure.name)});
  return section(title, table, 0, style);
}

bool hasSeveralHosts(const Growth& growth) {
  return std::ranges::any_of(growth.paths, [&](const PathGrowth& path) {
    return path.last.host != growth.paths.front().last.host;
  });
}

std::string shareOfCapacity(const PathGrowth& path) {
  const auto share = path.usedShare();
  return share ? fmt::format("{:.1f}%", 100 * *share) : "-";
}

std::string pathTable(const Growth& growth, const Style& style) {
  const bool hosts = hasSeveralHosts(growth);
  TextTable table(withHost(hosts,
                           {{"size", Kind::FIGURE},
                            {"change", Kind::FIGURE},
                            {"in days", Kind::FIGURE},
                            {"used", Kind::FIGURE},
                            {"full in days", Kind::TEXT},
                            {"path", Kind::PATH}},
                           HOST));
  for (const PathGrowth& path : growth.paths) {
    const auto days = static_cast<double>(path.last.started - path.first.started) / 86'400'000;
    const bool compared = path.scans > 1;
    table.addRow(withHost(hosts,
                          {sizeText(path.last.bytes), compared ? signedSize(path.change()) : "-",
                           compared ? fmt::format("{:.1f}", days) : "-", shareOfCapacity(path),
                           fullText(path), printable(path.last.path)},
                          printable(path.last.host)));
  }
  return table.render(style);
}

// One of the lists into which the changes fall. `FROM_END`: the largest ones stand last.
struct ChangeList {
  enum class Order { FROM_BEGIN, FROM_END };
  const char* title;
  Order order;
  bool (*holds)(const Change&);
};
constexpr std::array<ChangeList, 4> LISTS = {{
    {"{} that grew", ChangeList::Order::FROM_BEGIN,
     [](const Change& change) { return change.before && change.after && change.bytes() > 0; }},
    {"New {}", ChangeList::Order::FROM_BEGIN, [](const Change& change) { return !change.before; }},
    {"{} that shrank", ChangeList::Order::FROM_END,
     [](const Change& change) { return change.before && change.after && change.bytes() < 0; }},
    {"{} that are gone", ChangeList::Order::FROM_END,
     [](const Change& change) { return !change.after; }},
}};

std::string changeSection(const Growth& growth, const ChangeList& list, int top,
                          const Style& style) {
  static constexpr std::array NAMES = {"directories", "owners", "file types"};
  std::vector<const Change*> chosen;
  for (const Change& change : growth.changes)
    if (list.holds(change))
      chosen.push_back(&change);
  if (list.order == ChangeList::Order::FROM_END)
    std::ranges::reverse(chosen);
  const bool hosts = hasSeveralHosts(growth) && growth.question.by == GrowthQuestion::By::DIRECTORY;
  TextTable table(withHost(
      hosts, {{"change", Kind::FIGURE}, {"size", Kind::FIGURE}, {"name", Kind::PATH}}, HOST));
  const std::size_t shown = std::min(chosen.size(), static_cast<std::size_t>(top));
  for (std::size_t i = 0; i < shown; ++i)
    table.addRow(withHost(hosts,
                          {signedSize(chosen[i]->bytes()), sizeText(chosen[i]->after.value_or(0)),
                           printable(chosen[i]->name)},
                          printable(chosen[i]->host)));
  std::string title =
      fmt::format(fmt::runtime(list.title), NAMES[static_cast<std::size_t>(growth.question.by)]);
  title.front() = static_cast<char>(std::toupper(title.front()));
  return section(title, table, chosen.size() - shown, style);
}

std::string fileSection(const Growth& growth, int top, const Style& style) {
  const bool hosts = hasSeveralHosts(growth);
  TextTable table(withHost(hosts,
                           {{"size", Kind::FIGURE},
                            {"modified", Kind::FIGURE},
                            {"owner", Kind::TEXT},
                            {"path", Kind::PATH}},
                           HOST));
  const std::size_t shown = std::min(growth.newFiles.size(), static_cast<std::size_t>(top));
  for (std::size_t i = 0; i < shown; ++i) {
    const NewFile& file = growth.newFiles[i];
    table.addRow(withHost(hosts,
                          {sizeText(file.bytes), dateText(file.modified), printable(file.owner),
                           printable(file.path)},
                          printable(file.host)));
  }
  return section("New among the largest files", table, growth.newFiles.size() - shown, style);
}

}  // namespace

std::string renderScans(std::span<const StoredScan> scans, const Style& style) {
  if (scans.empty())
    return "No scans\n";
  TextTable table({{"id", Kind::FIGURE},
                   {"scanned", Kind::FIGURE},
                   {"entries", Kind::FIGURE},
                   {"size", Kind::FIGURE},
                   {"host", Kind::TEXT},
                   {"path", Kind::PATH}});
  for (const StoredScan& scan : scans)
    table.addRow({std::to_string(scan.id), timeText(scan.started),
                  countText(scan.files + scan.directories), sizeText(scan.bytes),
                  printable(scan.host), printable(scan.path)});
  return table.render(style);
}

std::string renderFigures(const StoredFigures& figures, const Style& style) {
  const StoredScan& scan = figures.scan;
  const auto fact = [](const char* name, const std::string& value) {
    return fmt::format("  {:<12}{}\n", name, value);
  };
  std::string text = emphasized(fmt::format("Scan {} of {} on {}", scan.id, printable(scan.path),
                                            printable(scan.host)),
                                Emphasis::TITLE, style) +
                     "\n";
  text += fact("Scanned", timeText(scan.started) +
                              (scan.seconds ? ", took " + elapsedText(*scan.seconds) : ""));
  text += fact("Size", fmt::format("{} in {} and {}", sizeText(scan.bytes),
                                   counted(scan.files, "file", "files"),
                                   counted(scan.directories, "directory", "directories")));
  if (scan.unreadable)
    text += fact("Not read", counted(*scan.unreadable, "entry", "entries"));
  if (scan.capacity)
    text +=
        fact("Filesystem",
             fmt::format("{} in all, {} used or reserved, {} free", sizeText(scan.capacity->bytes),
                         sizeText(scan.capacity->used), sizeText(scan.capacity->free)));
  text += fact("Result", printable(scan.result));
  return text + figureSection("Largest directories", figures.directories, style) +
         figureSection("Owners", figures.owners, style) +
         figureSection("File types", figures.types, style) +
         figureSection("Largest files", figures.files, style);
}

std::string renderGrowth(const Growth& growth, int top, const Style& style) {
  std::string text = pathTable(growth, style);
  if (growth.question.by == GrowthQuestion::By::HOST)
    return text;
  for (const ChangeList& list : LISTS)
    text += changeSection(growth, list, top, style);
  return text + fileSection(growth, top, style);
}

std::string fullText(const PathGrowth& path) {
  switch (path.trend.kind) {
    case Trend::Kind::NONE:
      return "no trend";
    case Trend::Kind::FALLING:
      return "shrinking";
    case Trend::Kind::GROWING:
      break;
  }
  if (const auto& full = path.trend.full)
    return full->days > MAX_DAYS ? daysText(full->days)
                                 : fmt::format("{} ({} - {})", daysText(full->days),
                                               daysText(full->earliest), daysText(full->latest));
  return "no capacity";
}

}  // namespace orv::ctl
