#include "orvctl/history/StoredScans.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "orvctl/history/Database.h"

namespace orv::ctl::history {
namespace {

// A column that may be NULL, bound to be fetched.
template <typename Value>
struct Nullable {
  Value value{};
  soci::indicator state = soci::i_null;

  [[nodiscard]] std::optional<Value> get() const {
    return state == soci::i_ok ? std::optional(value) : std::nullopt;
  }
};

// Reads the rows of "scans s JOIN series r" that fit a condition.
class ScanReader final {
 public:
  ScanReader(Database& database, const std::string& condition) : m_statement(database.sql()) {
    m_text =
        "SELECT s.id, r.host, r.path, s.started, s.seconds, s.bytes, s.files, s.directories,"
        " s.capacity, s.used, s.free, s.unreadable, s.depth, s.result FROM scans s"
        " JOIN series r ON r.id = s.series_id WHERE " +
        condition + " ORDER BY r.host, r.path, s.started DESC";
  }

  template <typename Value>
  void use(const Value& value) {
    m_statement.exchange(soci::use(value));
  }

  std::vector<StoredScan> read() {
    bind();
    std::vector<StoredScan> scans;
    m_statement.execute();
    while (m_statement.fetch())
      scans.push_back(current());
    return scans;
  }

 private:
  void bind() {
    m_statement.exchange(soci::into(m_scan.id));
    m_statement.exchange(soci::into(m_scan.host));
    m_statement.exchange(soci::into(m_scan.path));
    m_statement.exchange(soci::into(m_scan.started));
    m_statement.exchange(soci::into(m_seconds.value, m_seconds.state));
    m_statement.exchange(soci::into(m_scan.bytes));
    m_statement.exchange(soci::into(m_scan.files));
    m_statement.exchange(soci::into(m_scan.directories));
    for (Nullable<std::int64_t>* column : {&m_capacity, &m_used, &m_free, &m_unreadable})
      m_statement.exchange(soci::into(column->value, column->state));
    m_statement.exchange(soci::into(m_scan.depth));
    m_statement.exchange(soci::into(m_scan.result));
    m_statement.alloc();
    m_statement.prepare(m_text);
    m_statement.define_and_bind();
  }

  [[nodiscard]] StoredScan current() const {
    StoredScan scan = m_scan;
    scan.seconds = m_seconds.get();
    scan.unreadable = m_unreadable.get();
    if (m_capacity.get())
      scan.capacity = Capacity{m_capacity.value, m_used.value, m_free.value};
    return scan;
  }

  soci::statement m_statement;
  std::string m_text;
  StoredScan m_scan;
  Nullable<double> m_seconds;
  Nullable<std::int64_t> m_capacity;
  Nullable<std::int64_t> m_used;
  Nullable<std::int64_t> m_free;
  Nullable<std::int64_t> m_unreadable;
};

std::vector<StoredFigures::Figure> readFigures(Database& database, const std::string& query,
                                               std::int64_t scan, int top) {
  std::vector<StoredFigures::Figure> figures;
  StoredFigures::Figure figure;
  soci::statement statement =
      (database.sql().prepare << query << " LIMIT " << top, soci::use(scan),
       soci::into(figure.name), soci::into(figure.entries), soci::into(figure.bytes));
  statement.execute();
  while (statement.fetch())
    figures.push_back(figure);
  return figures;
}

}  // namespace

std::vector<StoredScan> storedScans(Database& database, const ScanFilter& filter) {
  ScanReader reader(database, "(:h1 = '' OR r.host = :h2) AND (:p1 = '' OR r.path = :p2)");
  for (const std::string* value : {&filter.host, &filter.host, &filter.path, &filter.path})
    reader.use(*value);
  return reader.read();
}

StoredFigures storedFigures(Database& database, std::int64_t id, int top) {
  StoredFigures figures;
  ScanReader reader(database, "s.id = :id");
  reader.use(id);
  for (StoredScan& scan : reader.read())
    figures.scan = std::move(scan);
  figures.directories = readFigures(
      database,
      "SELECT n.path, d.files + d.directories, d.bytes FROM directories d JOIN names n"
      " ON n.id = d.name_id WHERE d.scan_id = :id AND d.depth > 0 ORDER BY d.bytes DESC, n.path",
      id, top);
  figures.owners = readFigures(database,
                               "SELECT name, entries, bytes FROM accounts WHERE scan_id = :id AND"
                               " kind = 'owner' AND min_age = 0 ORDER BY bytes DESC, name",
                               id, top);
  figures.types = readFigures(database,
                              "SELECT extension, files, bytes FROM types WHERE scan_id = :id"
                              " ORDER BY bytes DESC, extension",
                              id, top);
  figures.files =
      readFigures(database,
                  "SELECT n.path, 1, f.bytes FROM files f JOIN names n ON n.id = f.name_id"
                  " WHERE f.scan_id = :id AND f.ranking = 'largest_files' ORDER BY f.place",
                  id, top);
  return figures;
}

std::vector<StoredScan> unkept(const std::vector<StoredScan>& scans,
                               std::span<const KeepRule> rules, std::int64_t now) {
  std::vector<StoredScan> gone;
  for (auto first = scans.begin(); first != scans.end();) {
    const auto end = std::find_if(first, scans.end(), [&](const StoredScan& scan) {
      return scan.host != first->host || scan.path != first->path;
    });
    std::vector<std::int64_t> times;
    std::transform(first, end, std::back_inserter(times),
                   [](const StoredScan& scan) { return scan.started; });
    const std::vector<bool> keep = kept(times, rules, now);
    for (std::size_t i = 0; i < keep.size(); ++i)
      if (!keep[i])
        gone.push_back(first[static_cast<std::ptrdiff_t>(i)]);
    first = end;
  }
  return gone;
}

void removeScans(Database& database, std::span<const StoredScan> scans) {
  static constexpr std::array TABLES = {"directories", "accounts", "types",
                                        "classes",     "files",    "rankings"};
  const auto remove = [&](const std::string& table, const char* column) {
    std::int64_t id = 0;
    soci::statement statement =
        (database.sql().prepare << fmt::format("DELETE FROM {} WHERE {} = :id", table, column),
         soci::use(id));
    for (const StoredScan& scan : scans) {
      id = scan.id;
      statement.execute(true);
    }
  };
  for (const char* table : TABLES)
    remove(table, "scan_id");
  remove("scans", "id");
  database.sql() << "DELETE FROM names WHERE id NOT IN (SELECT name_id FROM directories)"
                    " AND id NOT IN (SELECT name_id FROM files)";
}

}  // namespace orv::ctl::history
