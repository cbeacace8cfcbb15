#include "orvctl/history/HistoryExport.h"

#include <array>
#include <optional>
#include <vector>

#include "orvctl/export/CsvTable.h"
#include "orvctl/export/Json.h"
#include "orvctl/export/Words.h"

namespace orv::ctl {
namespace {

using Json = nlohmann::ordered_json;

constexpr int SCHEMA_VERSION = 1;

template <typename Member>
std::optional<std::int64_t> capacityOf(const StoredScan& scan, Member member) {
  return scan.capacity ? std::optional((*scan.capacity).*member) : std::nullopt;
}

Json jsonOf(const StoredScan& scan) {
  return {{"id", scan.id},
          {"host", scan.host},
          {"path", scan.path},
          {"started", orNull(utcTime(scan.started))},
          {"seconds", orNull(scan.seconds)},
          {"bytes", scan.bytes},
          {"files", scan.files},
          {"directories", scan.directories},
          {"unreadable", orNull(scan.unreadable)},
          {"filesystem_bytes", orNull(capacityOf(scan, &Capacity::bytes))},
          {"filesystem_used_bytes", orNull(capacityOf(scan, &Capacity::used))},
          {"filesystem_free_bytes", orNull(capacityOf(scan, &Capacity::free))},
          {"result", scan.result}};
}

Json jsonOf(const StoredFigures::Figure& figure) {
  return {{"name", figure.name}, {"entries", figure.entries}, {"bytes", figure.bytes}};
}

std::string_view wordOf(Trend::Kind kind) {
  static constexpr std::array<std::string_view, 3> WORDS = {"none", "growing", "shrinking"};
  return WORDS[static_cast<std::size_t>(kind)];
}

std::string_view wordOf(const Change& change) {
  if (!change.before)
    return "new";
  if (!change.after)
    return "gone";
  return change.bytes() > 0 ? "grew" : "shrank";
}

Json jsonOf(const Trend& trend) {
  Json json = {{"kind", wordOf(trend.kind)}};
  if (trend.kind != Trend::Kind::NONE) {
    json["bytes_per_day"] = trend.bytesPerDay;
    json["lowest_bytes_per_day"] = trend.lowest;
    json["highest_bytes_per_day"] = trend.highest;
  }
  if (const auto& full = trend.full) {
    json["days_until_full"] = full->days;
    json["earliest_days_until_full"] = full->earliest;
    json["latest_days_until_full"] = full->latest;
  }
  return json;
}

Json jsonOf(const PathGrowth& path) {
  return {{"host", path.last.host},
          {"path", path.last.path},
          {"scans", path.scans},
          {"nested", path.nested},
          {"first_started", orNull(utcTime(path.first.started))},
          {"last_started", orNull(utcTime(path.last.started))},
          {"bytes_before", path.first.bytes},
          {"bytes", path.last.bytes},
          {"change_bytes", path.change()},
          {"filesystem_bytes", orNull(capacityOf(path.last, &Capacity::bytes))},
          {"filesystem_used_bytes", orNull(capacityOf(path.last, &Capacity::used))},
          {"used_share", orNull(path.usedShare())},
          {"trend", jsonOf(path.trend)}};
}

Json jsonOf(const Change& change) {
  return {{"change", wordOf(change)},      {"host", change.host},
          {"name", change.name},           {"bytes_before", orNull(change.before)},
          {"bytes", orNull(change.after)}, {"change_bytes", change.bytes()}};
}

Json jsonOf(const NewFile& file) {
  return {{"host", file.host},
          {"path", file.path},
          {"owner", file.owner},
          {"bytes", file.bytes},
          {"modified", orNull(utcTime(file.modified))}};
}

struct FigureList {
  const char* name;
  std::vector<StoredFigures::Figure> StoredFigures::*figures;
};
constexpr std::array<FigureList, 4> FIGURE_LISTS = {{{"directories", &StoredFigures::directories},
                                                     {"owners", &StoredFigures::owners},
                                                     {"types", &StoredFigures::types},
                                                     {"files", &StoredFigures::files}}};

const auto TO_JSON = [](const auto& item) { return jsonOf(item); };

std::string pathsCsv(const Growth& growth) {
  CsvTable table(
      "host,path,scans,first_started,last_started,bytes_before,bytes,change_bytes,"
      "filesystem_bytes,filesystem_used_bytes,trend,bytes_per_day,days_until_full,"
      "earliest_days_until_full,latest_days_until_full");
  for (const PathGrowth& path : growth.paths) {
    const Trend& trend = path.trend;
    const auto full = [&](double Trend::Full::*days) {
      return trend.full ? std::optional((*trend.full).*days) : std::nullopt;
    };
    table.row(path.last.host, path.last.path, path.scans, utcTime(path.first.started),
              utcTime(path.last.started), path.first.bytes, path.last.bytes, path.change(),
              capacityOf(path.last, &Capacity::bytes), capacityOf(path.last, &Capacity::used),
              wordOf(trend.kind),
              trend.kind == Trend::Kind::NONE ? std::nullopt : std::optional(trend.bytesPerDay),
              full(&Trend::Full::days), full(&Trend::Full::earliest), full(&Trend::Full::latest));
  }
  return table.take();
}

}  // namespace

std::string scansJson(std::span<const StoredScan> scans) {
  return Json{{"schema_version", SCHEMA_VERSION}, {"scans", listOf(scans, TO_JSON)}}.dump() + "\n";
}

std::string scansCsv(std::span<const StoredScan> scans) {
  CsvTable table(
      "id,host,path,started,seconds,bytes,files,directories,unreadable,filesystem_bytes,"
      "filesystem_used_bytes,filesystem_free_bytes,result");
  for (const StoredScan& scan : scans)
    table.row(scan.id, scan.host, scan.path, utcTime(scan.started), scan.seconds, scan.bytes,
              scan.files, scan.directories, scan.unreadable, capacityOf(scan, &Capacity::bytes),
              capacityOf(scan, &Capacity::used), capacityOf(scan, &Capacity::free), scan.result);
  return table.take();
}

std::string figuresJson(const StoredFigures& figures) {
  Json json = {{"schema_version", SCHEMA_VERSION}, {"scan", jsonOf(figures.scan)}};
  for (const FigureList& list : FIGURE_LISTS)
    json[list.name] = listOf(figures.*list.figures, TO_JSON);
  return json.dump() + "\n";
}

std::string figuresCsv(const StoredFigures& figures) {
  CsvTable table("list,name,entries,bytes");
  for (const FigureList& list : FIGURE_LISTS)
    for (const StoredFigures::Figure& figure : figures.*list.figures)
      table.row(list.name, figure.name, figure.entries, figure.bytes);
  return table.take();
}

std::string growthJson(const Growth& growth) {
  Json json = {{"schema_version", SCHEMA_VERSION}};
  json["paths"] = listOf(growth.paths, TO_JSON);
  json["changes"] = listOf(growth.changes, TO_JSON);
  json["new_files"] = listOf(growth.newFiles, TO_JSON);
  return json.dump() + "\n";
}

std::string growthCsv(const Growth& growth) {
  if (growth.question.by == GrowthQuestion::By::HOST)
    return pathsCsv(growth);
  CsvTable table("change,host,name,bytes_before,bytes,change_bytes");
  for (const Change& change : growth.changes)
    table.row(wordOf(change), change.host, change.name, change.before, change.after,
              change.bytes());
  return table.take();
}

}  // namespace orv::ctl
