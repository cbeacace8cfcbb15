#include "orvctl/history/Load.h"

#include <array>
#include <unordered_map>

#include "orvctl/history/RowWriter.h"

namespace orv::ctl::history {
namespace {

std::int64_t nextId(Database& database, const std::string& table) {
  std::int64_t highest = 0;
  database.sql() << "SELECT COALESCE(MAX(id), 0) FROM " + table, soci::into(highest);
  return highest + 1;
}

std::int64_t seriesOf(Database& database, const std::string& host, const std::string& path) {
  std::int64_t id = 0;
  database.sql() << "SELECT id FROM series WHERE host = :host AND path = :path", soci::use(host),
      soci::use(path), soci::into(id);
  if (database.sql().got_data())
    return id;
  id = nextId(database, "series");
  database.sql() << "INSERT INTO series (id, host, path) VALUES (:id, :host, :path)", soci::use(id),
      soci::use(host), soci::use(path);
  return id;
}

bool isThere(Database& database, std::int64_t series, std::int64_t started) {
  std::int64_t id = 0;
  database.sql() << "SELECT id FROM scans WHERE series_id = :series AND started = :started",
      soci::use(series), soci::use(started), soci::into(id);
  return database.sql().got_data();
}

// The ids of the paths of a series, which are written once however many scans name them.
class Names final {
 public:
  Names(Database& database, std::int64_t series)
      : m_series(series),
        m_next(nextId(database, "names")),
        m_writer(database.sql(), "names", {"id", "series_id", "path"}) {
    std::int64_t id = 0;
    std::string path;
    soci::statement known =
        (database.sql().prepare << "SELECT id, path FROM names WHERE series_id = :series",
         soci::use(series), soci::into(id), soci::into(path));
    known.execute();
    while (known.fetch())
      m_ids.emplace(path, id);
  }

  std::int64_t idOf(const std::string& path) {
    const auto [place, fresh] = m_ids.try_emplace(path, m_next);
    if (fresh)
      m_writer.add({m_next++, m_series, path});
    return place->second;
  }

  void flush() { m_writer.flush(); }

 private:
  std::int64_t m_series;
  std::int64_t m_next;
  RowWriter m_writer;
  std::unordered_map<std::string, std::int64_t> m_ids;
};

// What an account holds, however old.
constexpr std::int64_t ALL_AGES = 0;

// The rows of one scan.
class ScanRows final {
 public:
  ScanRows(Database& database, std::int64_t id, std::int64_t series)
      : m_sql(database.sql()), m_id(id), m_names(database, series) {}

  void add(const Root& root) {
    const Statistics& figures = root.main();
    addDirectories(root.subtrees);
    addAccounts("owner", figures.owners, root.ages);
    addAccounts("group", figures.groups, root.ages);
    addTypes(figures.types);
    addClasses(figures);
    addRankings(figures.rankings);
    m_names.flush();
  }

 private:
  void addDirectories(const std::vector<Subtree>& subtrees) {
    RowWriter rows(m_sql, "directories",
                   {"scan_id", "name_id", "depth", "bytes", "files", "directories"});
    for (const Subtree& subtree : subtrees)
      if (const auto& totals = subtree.totals)
        rows.add({m_id, m_names.idOf(subtree.entry.path), subtree.depth, totals->bytes,
                  totals->files, totals->directories});
    rows.flush();
  }

  void addAccounts(const char* kind, const std::vector<Account>& accounts,
                   const std::vector<AgeLimit>& ages) {
    RowWriter rows(m_sql, "accounts",
                   {"scan_id", "kind", "number", "name", "min_age", "basis", "entries", "bytes"});
    for (const Account& account : accounts) {
      rows.add({m_id, kind, account.id, account.name, ALL_AGES, std::nullopt,
                account.totals.entries(), account.totals.bytes});
      for (std::size_t i = 0; i < account.unused.size() && i < ages.size(); ++i)
        rows.add({m_id, kind, account.id, account.name, ages[i].seconds, ageName(ages[i].kind),
                  account.unused[i].entries, account.unused[i].bytes});
    }
    rows.flush();
  }

  void addTypes(const std::vector<FileType>& types) {
    RowWriter rows(m_sql, "types", {"scan_id", "extension", "files", "bytes"});
    for (const FileType& type : types)
      rows.add({m_id, type.extension, type.files, type.bytes});
    rows.flush();
  }

  void addClasses(const Statistics& figures) {
    RowWriter rows(m_sql, "classes",
                   {"scan_id", "kind", "place", "lower", "upper", "entries", "bytes"});
    const auto addAll = [&](const char* kind, const std::vector<Class>& classes) {
      std::int64_t place = 0;
      for (const Class& each : classes)
        rows.add({m_id, kind, ++place, each.from, each.to, each.entries, each.bytes});
    };
    addAll("size", figures.sizes);
    for (const AgeDistribution& age : figures.ages)
      addAll(ageName(age.kind), age.classes);
    rows.flush();
  }

  void addRankings(const std::vector<Ranking>& rankings) {
    static constexpr std::array NAMES = {"largest_files", "least_accessed", "oldest_not_backed_up",
                                         "largest_orphans", "oldest_orphans"};
    RowWriter sizes(m_sql, "rankings", {"scan_id", "ranking", "size"});
    RowWriter rows(m_sql, "files",
                   {"scan_id", "ranking", "place", "name_id", "owner", "bytes", "disk_bytes",
                    "modified", "accessed"});
    for (const Ranking& ranking : rankings) {
      const char* name = NAMES[static_cast<std::size_t>(ranking.kind)];
      sizes.add({m_id, name, ranking.limit});
      std::int64_t place = 0;
      for (const Entry& file : ranking.files)
        rows.add({m_id, name, ++place, m_names.idOf(file.path), file.owner, file.bytes,
                  file.diskBytes, file.modified, file.accessed});
    }
    sizes.flush();
    rows.flush();
  }

  static const char* ageName(AgeKind kind) {
    static constexpr std::array NAMES = {"accessed", "modified", "created", "backed_up"};
    return NAMES[static_cast<std::size_t>(kind)];
  }

  soci::session& m_sql;
  std::int64_t m_id;
  Names m_names;
};

void addScanRow(Database& database, const Scan& scan, const Root& root, std::int64_t id,
                std::int64_t series, std::int64_t now) {
  const auto of = [](const auto& holder, auto member) {
    return holder ? std::optional<std::int64_t>((*holder).*member) : std::nullopt;
  };
  const Totals& totals = *root.main().totals;
  const bool countsInodes = root.inodes > 0;
  std::optional<std::int64_t> code;
  std::optional<std::string> seconds;
  if (scan.run && scan.run->returnCode)
    code = *scan.run->returnCode;
  if (scan.run && scan.run->seconds)
    seconds = std::to_string(*scan.run->seconds);
  RowWriter row(
      database.sql(), "scans",
      {"id",       "series_id",   "started",    "added",  "result",      "job",         "version",
       "seconds",  "return_code", "unreadable", "bytes",  "files",       "directories", "others",
       "capacity", "used",        "free",       "inodes", "used_inodes", "depth"});
  row.add({id,
           series,
           root.scanned,
           now,
           scan.result,
           scan.job,
           scan.version,
           seconds,
           code,
           of(root.notRead, &NotRead::unreadable),
           totals.bytes,
           totals.files,
           totals.directories,
           totals.others,
           of(root.capacity, &Capacity::bytes),
           of(root.capacity, &Capacity::used),
           of(root.capacity, &Capacity::free),
           countsInodes ? std::optional(root.inodes) : std::nullopt,
           countsInodes ? std::optional(root.usedInodes) : std::nullopt,
           root.depth});
  row.flush();
}

}  // namespace

bool loadRoot(Database& database, const Scan& scan, const Root& root, const std::string& host,
              std::int64_t now) {
  const std::int64_t series = seriesOf(database, host, root.path);
  if (isThere(database, series, root.scanned))
    return false;
  const std::int64_t id = nextId(database, "scans");
  addScanRow(database, scan, root, id, series, now);
  ScanRows(database, id, series).add(root);
  return true;
}

}  // namespace orv::ctl::history
