#include "orvctl/history/Schema.h"

#include <fmt/format.h>

#include <array>

namespace orv::ctl::history {
namespace {

using namespace std::string_view_literals;

// Sizes in bytes, times in milliseconds since 1970 UTC, ages in seconds; NULL is what a result does
// not tell.
constexpr std::array TABLES = {
    // What is scanned again and again. Few rows: looked up without an index over long paths.
    "CREATE TABLE series (id INTEGER PRIMARY KEY, host TEXT NOT NULL, path TEXT NOT NULL)"sv,
    // `depth`: down to this level below the path every directory was measured.
    "CREATE TABLE scans (id INTEGER PRIMARY KEY, series_id INTEGER NOT NULL,"
    " started BIGINT NOT NULL, added BIGINT NOT NULL, result TEXT NOT NULL, job TEXT NOT NULL,"
    " version TEXT NOT NULL, seconds DOUBLE PRECISION, return_code INTEGER, unreadable BIGINT,"
    " bytes BIGINT NOT NULL, files BIGINT NOT NULL, directories BIGINT NOT NULL, others BIGINT,"
    " capacity BIGINT, used BIGINT, free BIGINT, inodes BIGINT, used_inodes BIGINT,"
    " depth INTEGER NOT NULL, UNIQUE (series_id, started))"sv,
    // Paths of directories and files, once each per series.
    "CREATE TABLE names (id INTEGER PRIMARY KEY, series_id INTEGER NOT NULL,"
    " path TEXT NOT NULL)"sv,
    "CREATE INDEX names_of_series ON names (series_id)"sv,
    "CREATE TABLE directories (scan_id INTEGER NOT NULL, name_id INTEGER NOT NULL,"
    " depth INTEGER NOT NULL, bytes BIGINT NOT NULL, files BIGINT NOT NULL,"
    " directories BIGINT NOT NULL, PRIMARY KEY (scan_id, name_id))"sv,
    // Owners and groups (`kind`). `min_age` 0 is all that they have; a row with another one is what
    // was not accessed (or modified: `basis`) for longer than that.
    "CREATE TABLE accounts (scan_id INTEGER NOT NULL, kind TEXT NOT NULL, number BIGINT NOT NULL,"
    " name TEXT NOT NULL, min_age BIGINT NOT NULL, basis TEXT, entries BIGINT NOT NULL,"
    " bytes BIGINT NOT NULL, PRIMARY KEY (scan_id, kind, number, min_age))"sv,
    "CREATE TABLE types (scan_id INTEGER NOT NULL, extension TEXT NOT NULL,"
    " files BIGINT NOT NULL, bytes BIGINT NOT NULL, PRIMARY KEY (scan_id, extension))"sv,
    // Distributions (`kind`: size, accessed, ...) class by class; without limit there is no end.
    "CREATE TABLE classes (scan_id INTEGER NOT NULL, kind TEXT NOT NULL, place INTEGER NOT NULL,"
    " lower BIGINT, upper BIGINT, entries BIGINT NOT NULL, bytes BIGINT NOT NULL,"
    " PRIMARY KEY (scan_id, kind, place))"sv,
    // Rankings, from place 1 on. How many each was to hold stands in `rankings`.
    "CREATE TABLE files (scan_id INTEGER NOT NULL, ranking TEXT NOT NULL, place INTEGER NOT NULL,"
    " name_id INTEGER NOT NULL, owner TEXT NOT NULL, bytes BIGINT NOT NULL,"
    " disk_bytes BIGINT NOT NULL, modified BIGINT NOT NULL, accessed BIGINT NOT NULL,"
    " PRIMARY KEY (scan_id, ranking, place))"sv,
    "CREATE TABLE rankings (scan_id INTEGER NOT NULL, ranking TEXT NOT NULL,"
    " size INTEGER NOT NULL, PRIMARY KEY (scan_id, ranking))"sv,
};

// For people who ask in SQL. `days` is the time since the scan before.
constexpr std::array VIEWS = {
    "CREATE VIEW latest AS SELECT s.id AS scan_id, r.host, r.path, s.started, s.bytes, s.files,"
    " s.directories, s.capacity, s.used, s.free, s.inodes, s.used_inodes, s.unreadable,"
    " s.seconds, s.return_code, s.result FROM scans s JOIN series r ON r.id = s.series_id"
    " WHERE s.started = (SELECT MAX(n.started) FROM scans n WHERE n.series_id = s.series_id)"sv,
    "CREATE VIEW growth AS SELECT g.host, g.root, g.path, g.started, g.bytes, g.files,"
    " g.bytes - LAG(g.bytes) OVER w AS change,"
    " (g.started - LAG(g.started) OVER w) / 86400000.0 AS days FROM"
    " (SELECT r.host, r.path AS root, r.path, s.started, s.bytes, s.files"
    " FROM scans s JOIN series r ON r.id = s.series_id"
    " UNION ALL SELECT r.host, r.path, n.path, s.started, d.bytes, d.files FROM directories d"
    " JOIN scans s ON s.id = d.scan_id JOIN series r ON r.id = s.series_id"
    " JOIN names n ON n.id = d.name_id WHERE d.depth > 0) g"
    " WINDOW w AS (PARTITION BY g.host, g.root, g.path ORDER BY g.started)"sv,
    "CREATE VIEW owner_age AS SELECT l.host, l.path, l.started, a.name AS owner, a.number AS uid,"
    " a.min_age / 86400 AS min_age_days, a.basis, a.entries, a.bytes"
    " FROM latest l JOIN accounts a ON a.scan_id = l.scan_id WHERE a.kind = 'owner'"sv,
};

// Of the result, to tell scans apart that began in one second; 0 where an older program added it.
constexpr std::array DIGESTS = {
    "ALTER TABLE scans ADD COLUMN digest BIGINT NOT NULL DEFAULT 0"sv,
};

constexpr std::array<std::span<const std::string_view>, 3> MIGRATIONS = {TABLES, VIEWS, DIGESTS};

constexpr const char* VERSION_TABLE = "orvscan_schema";

int versionOf(Database& database) {
  int version = 0;
  if (database.hasTable(VERSION_TABLE))
    database.sql() << fmt::format("SELECT version FROM {}", VERSION_TABLE), soci::into(version);
  return version;
}

// Inside a writing transaction.
void migrate(Database& database, int from) {
  if (from == 0)
    database.sql() << fmt::format("CREATE TABLE {} (version INTEGER NOT NULL)", VERSION_TABLE);
  for (std::size_t next = static_cast<std::size_t>(from); next < MIGRATIONS.size(); ++next)
    for (const std::string_view statement : MIGRATIONS[next])
      database.sql() << std::string(statement);
  database.sql() << fmt::format("DELETE FROM {}", VERSION_TABLE);
  database.sql() << fmt::format("INSERT INTO {} VALUES ({})", VERSION_TABLE, MIGRATIONS.size());
}

}  // namespace

std::span<const std::span<const std::string_view>> migrations() {
  return MIGRATIONS;
}

void requireSchema(Database& database, Database::Access access) {
  const int known = static_cast<int>(MIGRATIONS.size());
  const int found = versionOf(database);
  if (found > known)
    throw CtlError(
        fmt::format("cannot use history {}: it has schema {} of a newer program, this "
                    "one knows {}",
                    database.shownName(), found, known));
  if (found == 0 && access == Database::Access::READ)
    throw CtlError(
        fmt::format("cannot read history {}: nothing was added to it yet", database.shownName()));
  if (found == known)
    return;
  Transaction transaction(database, Database::Access::WRITE);
  // Another program may have done it while this one waited.
  if (const int now = versionOf(database); now < known)
    migrate(database, now);
  transaction.commit();
}

}  // namespace orv::ctl::history
