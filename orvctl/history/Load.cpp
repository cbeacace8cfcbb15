#include "orvctl/history/Load.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <soci/soci.h>

#include <array>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace orv::ctl::history {
namespace {

// One value of a row; nothing is NULL. Both databases turn its text into the type of its column.
struct Cell {
  Cell(std::int64_t number) : text(std::to_string(number)) {}
  Cell(std::string value) : text(std::move(value)) {}
  Cell(const char* value) : text(value) {}
  Cell(std::nullopt_t /*null*/) {}
  template <typename Value>
  Cell(const std::optional<Value>& value) {
    if (value)
      text = Cell(*value).text;
  }

  std::optional<std::string> text;
};

// Fills one table, many rows with one statement: PostgreSQL answers every statement of its own, and
// 100,000 rows one by one (as it runs a vector of values, too) take it ten seconds. A row whose key
// is there already is left out. Lives inside one transaction; `flush` before its end.
class RowWriter final {
 public:
  RowWriter(soci::session& session, std::string table, std::vector<std::string> columns);

  void add(std::initializer_list<Cell> row);
  void flush();

 private:
  // One statement with its bound values, for a fixed number of rows.
  struct Batch;

  void execute(Batch& batch);

  soci::session& m_session;
  std::string m_table;
  std::vector<std::string> m_columns;
  std::vector<std::optional<std::string>> m_waiting;  // row after row
  std::shared_ptr<Batch> m_full;                      // prepared for the first full batch
};

// Beyond this a statement only takes longer to prepare.
constexpr std::size_t ROWS_PER_STATEMENT = 200;

std::string insertText(const std::string& table, const std::vector<std::string>& columns,
                       std::size_t rows) {
  std::string text = fmt::format("INSERT INTO {} ({}) VALUES ", table, fmt::join(columns, ","));
  std::size_t value = 0;
  for (std::size_t row = 0; row < rows; ++row) {
    text += row == 0 ? "(" : ",(";
    for (std::size_t column = 0; column < columns.size(); ++column)
      text += fmt::format("{}:v{}", column == 0 ? "" : ",", value++);
    text += ")";
  }
  return text + " ON CONFLICT DO NOTHING";
}

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

// Results tell the second in which a scan began. Another one of the same second stands a
// millisecond behind it. Nothing when the result itself is there, or one that an older program
// added.
std::optional<std::int64_t> freeStart(Database& database, std::int64_t series, std::int64_t second,
                                      std::int64_t digest) {
  constexpr std::int64_t LAST_MILLISECOND = 999;
  const std::int64_t end = second + LAST_MILLISECOND;
  std::int64_t started = 0;
  std::int64_t present = 0;
  soci::statement scans =
      (database.sql().prepare << "SELECT started, digest FROM scans WHERE series_id = :series AND"
                                 " started BETWEEN :first AND :last ORDER BY started",
       soci::use(series), soci::use(second), soci::use(end), soci::into(started),
       soci::into(present));
  std::int64_t free = second;
  scans.execute();
  while (scans.fetch()) {
    if (present == 0 || present == digest)
      return std::nullopt;
    free = started + 1;
  }
  return free;
}

struct RowWriter::Batch {
  using Use = soci::details::statement_type;

  Batch(soci::session& session, const std::string& text, std::size_t count, Use use)
      : values(count), states(count, soci::i_ok), statement(session) {
    for (std::size_t i = 0; i < count; ++i)
      statement.exchange(soci::use(values[i], states[i]));
    statement.alloc();
    statement.prepare(text, use);
    statement.define_and_bind();
  }

  std::vector<std::string> values;
  std::vector<soci::indicator> states;
  soci::statement statement;
};

RowWriter::RowWriter(soci::session& session, std::string table, std::vector<std::string> columns)
    : m_session(session), m_table(std::move(table)), m_columns(std::move(columns)) {}

void RowWriter::add(std::initializer_list<Cell> row) {
  for (const Cell& cell : row)
    m_waiting.push_back(cell.text);
  if (m_waiting.size() < ROWS_PER_STATEMENT * m_columns.size())
    return;
  if (!m_full)
    m_full = std::make_shared<Batch>(m_session, insertText(m_table, m_columns, ROWS_PER_STATEMENT),
                                     m_waiting.size(), Batch::Use::st_repeatable_query);
  execute(*m_full);
}

void RowWriter::flush() {
  if (m_waiting.empty())
    return;
  // Not prepared beforehand, which would be two more questions to the server.
  Batch rest(m_session, insertText(m_table, m_columns, m_waiting.size() / m_columns.size()),
             m_waiting.size(), Batch::Use::st_one_time_query);
  execute(rest);
}

void RowWriter::execute(Batch& batch) {
  for (std::size_t i = 0; i < m_waiting.size(); ++i) {
    batch.states[i] = m_waiting[i] ? soci::i_ok : soci::i_null;
    batch.values[i] = m_waiting[i].value_or("");
  }
  m_waiting.clear();
  batch.statement.execute(true);
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

struct ScanKey {
  std::int64_t id, series, started;
};

void addScanRow(Database& database, const Scan& scan, const Root& root, const ScanKey& key,
                std::int64_t now) {
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
       "capacity", "used",        "free",       "inodes", "used_inodes", "depth",       "digest"});
  row.add({key.id,
           key.series,
           key.started,
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
           root.depth,
           scan.digest});
  row.flush();
}

}  // namespace

bool loadRoot(Database& database, const Scan& scan, const Root& root, const std::string& host,
              std::int64_t now) {
  const std::int64_t series = seriesOf(database, host, root.path);
  const auto started = freeStart(database, series, root.scanned, scan.digest);
  if (!started)
    return false;
  const std::int64_t id = nextId(database, "scans");
  addScanRow(database, scan, root, {id, series, *started}, now);
  ScanRows(database, id, series).add(root);
  return true;
}

}  // namespace orv::ctl::history
