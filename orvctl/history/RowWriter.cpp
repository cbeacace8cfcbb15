#include "orvctl/history/RowWriter.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace orv::ctl::history {
namespace {

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

}  // namespace

struct RowWriter::Batch {
  Batch(soci::session& session, const std::string& text, std::size_t count)
      : values(count), states(count, soci::i_ok), statement(session) {
    for (std::size_t i = 0; i < count; ++i)
      statement.exchange(soci::use(values[i], states[i]));
    statement.alloc();
    statement.prepare(text);
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
                                     m_waiting.size());
  execute(*m_full);
}

void RowWriter::flush() {
  if (m_waiting.empty())
    return;
  Batch rest(m_session, insertText(m_table, m_columns, m_waiting.size() / m_columns.size()),
             m_waiting.size());
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

}  // namespace orv::ctl::history
