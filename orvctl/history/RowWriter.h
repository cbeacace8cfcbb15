#pragma once

#include <soci/soci.h>

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace orv::ctl::history {

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

}  // namespace orv::ctl::history
