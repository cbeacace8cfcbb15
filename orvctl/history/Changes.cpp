#include "orvctl/history/Changes.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "orvctl/history/Database.h"

namespace orv::ctl {

std::optional<double> PathGrowth::usedShare() const noexcept {
  if (!last.capacity || last.capacity->bytes <= 0)
    return std::nullopt;
  return static_cast<double>(last.capacity->used) / static_cast<double>(last.capacity->bytes);
}

namespace history {
namespace {

// What is compared: the name of a row of the table `t`, and which rows count.
struct Subject {
  const char* name;
  const char* level;  // how deep a directory lies
  const char* from;
  const char* condition;
};
// In the order of GrowthQuestion::By.
constexpr std::array<Subject, 3> SUBJECTS = {{
    {"n.path", "t.depth", "directories t JOIN names n ON n.id = t.name_id", "t.depth > 0"},
    {"t.name", "0", "accounts t", "t.kind = 'owner' AND t.min_age = 0"},
    {"t.extension", "0", "types t", "1 = 1"},
}};

std::string comparison(const Subject& subject) {
  // The columns of the scan that a row is not of are 0.
  const auto side = [&](const char* columns, const char* scan) {
    return fmt::format("SELECT {} AS name, {} AS level, {} FROM {} WHERE t.scan_id = {} AND {}",
                       subject.name, subject.level, columns, subject.from, scan, subject.condition);
  };
  return fmt::format(
      "SELECT name, MAX(level), SUM(was), CAST(SUM(before) AS BIGINT), SUM(has),"
      " CAST(SUM(after) AS BIGINT) FROM ({} UNION ALL {}) both_scans GROUP BY name"
      " HAVING SUM(was) = 0 OR SUM(has) = 0 OR SUM(before) <> SUM(after)",
      side("1 AS was, t.bytes AS before, 0 AS has, 0 AS after", ":first"),
      side("0, 0, 1, t.bytes", ":last"));
}

// The smallest of the types that a scan lists: of a smaller one it tells nothing.
std::int64_t smallestType(Database& database, std::int64_t scan) {
  std::int64_t bytes = 0;
  database.sql() << "SELECT COALESCE(MIN(bytes), 0) FROM types WHERE scan_id = :scan",
      soci::use(scan), soci::into(bytes);
  return bytes;
}

// What a side that has no row of a name would show if there were something of it.
struct Measured {
  int depth;
  std::int64_t beforeFrom;  // bytes from which on the first scan shows it
  std::int64_t afterFrom;

  [[nodiscard]] bool tells(const Change& change, int level) const {
    if (change.before && change.after)
      return true;
    return level <= depth &&
           (change.before ? *change.before > afterFrom : change.after.value_or(0) > beforeFrom);
  }
};

Measured measuredBy(Database& database, const PathGrowth& path, GrowthQuestion::By by) {
  Measured measured{std::min(path.first.depth, path.last.depth), -1, -1};
  if (by == GrowthQuestion::By::TYPE) {
    measured.beforeFrom = smallestType(database, path.first.id);
    measured.afterFrom = smallestType(database, path.last.id);
  }
  return measured;
}

// Of how many bytes on a file would have been among the largest of a scan.
std::int64_t largestFrom(Database& database, std::int64_t scan) {
  std::int64_t count = 0;
  std::int64_t smallest = 0;
  std::int64_t size = 0;
  database.sql() << "SELECT COUNT(*), COALESCE(MIN(bytes), 0) FROM files"
                    " WHERE scan_id = :scan AND ranking = 'largest_files'",
      soci::use(scan), soci::into(count), soci::into(smallest);
  database.sql() << "SELECT COALESCE(MAX(size), 0) FROM rankings"
                    " WHERE scan_id = :scan AND ranking = 'largest_files'",
      soci::use(scan), soci::into(size);
  return count < size ? -1 : smallest;
}

}  // namespace

std::vector<Change> changesOf(Database& database, const PathGrowth& path, GrowthQuestion::By by) {
  const Measured measured = measuredBy(database, path, by);
  std::vector<Change> changes;
  std::string name;
  int level = 0;
  int was = 0;
  int has = 0;
  std::int64_t before = 0;
  std::int64_t after = 0;
  soci::statement rows =
      (database.sql().prepare << comparison(SUBJECTS[static_cast<std::size_t>(by)]),
       soci::use(path.first.id), soci::use(path.last.id), soci::into(name), soci::into(level),
       soci::into(was), soci::into(before), soci::into(has), soci::into(after));
  rows.execute();
  while (rows.fetch()) {
    Change change{path.last.host, name, was > 0 ? std::optional(before) : std::nullopt,
                  has > 0 ? std::optional(after) : std::nullopt};
    if (measured.tells(change, level))
      changes.push_back(std::move(change));
  }
  return changes;
}

std::vector<NewFile> newFilesOf(Database& database, const PathGrowth& path) {
  std::vector<NewFile> files;
  NewFile file;
  file.host = path.last.host;
  const std::int64_t from = largestFrom(database, path.first.id);
  soci::statement rows =
      (database.sql().prepare
           << "SELECT n.path, f.owner, f.bytes, f.modified FROM files f"
              " JOIN names n ON n.id = f.name_id WHERE f.scan_id = :last"
              " AND f.ranking = 'largest_files' AND f.bytes > :least AND f.name_id NOT IN"
              " (SELECT name_id FROM files WHERE scan_id = :first AND ranking = 'largest_files')"
              " ORDER BY f.bytes DESC, n.path",
       soci::use(path.last.id), soci::use(from), soci::use(path.first.id), soci::into(file.path),
       soci::into(file.owner), soci::into(file.bytes), soci::into(file.modified));
  rows.execute();
  while (rows.fetch())
    files.push_back(file);
  return files;
}

GrowthLine lineOf(Database& database, const PathGrowth& path, const std::string& directory) {
  GrowthLine line{directory, {}};
  GrowthPoint point;
  soci::statement rows =
      (database.sql().prepare
           << "SELECT s.started, d.bytes FROM names n JOIN scans s ON s.series_id = n.series_id"
              " JOIN directories d ON d.scan_id = s.id AND d.name_id = n.id"
              " WHERE n.path = :path AND n.series_id ="
              " (SELECT series_id FROM scans WHERE id = :scan)"
              " AND s.started >= :first AND s.started <= :last ORDER BY s.started",
       soci::use(directory), soci::use(path.last.id), soci::use(path.first.started),
       soci::use(path.last.started), soci::into(point.time), soci::into(point.bytes));
  rows.execute();
  while (rows.fetch())
    line.points.push_back(point);
  return line;
}

}  // namespace history
}  // namespace orv::ctl
