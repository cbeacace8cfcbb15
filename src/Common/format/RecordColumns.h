#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

// Column tables: one row per field of a result record, in the order of its header line, which is
// the order of the values in its data lines. The write-only sibling of Common/FieldTable.h.
//
//   constexpr Column<STimeDist> COLUMNS[] = {
//       column<STimeDist, &STimeDist::tdType>("tdType"), ...
namespace orv {

// How a field is written: numbers in decimal, flags as Y or N, lists as one value joined by ",".
[[nodiscard]] inline std::string columnText(const std::string& value) {
  return value;
}
[[nodiscard]] inline std::string columnText(bool value) {
  return value ? "Y" : "N";
}
template <typename Number>
requires std::is_arithmetic_v<Number>
[[nodiscard]] std::string columnText(Number value) {
  return std::to_string(value);
}
template <typename Number>
[[nodiscard]] std::string columnText(std::span<const Number> values) {
  std::string text;
  for (const Number value : values)
    text += (text.empty() ? "" : ",") + columnText(value);
  return text;
}
template <typename Number, std::size_t N>
[[nodiscard]] std::string columnText(const std::array<Number, N>& values) {
  return columnText(std::span<const Number>(values));
}
template <typename Number>
[[nodiscard]] std::string columnText(const std::vector<Number>& values) {
  return columnText(std::span<const Number>(values));
}

// One column: its name in the header line and the text of its value.
template <typename Record>
struct Column {
  std::string_view name;
  std::string (*text)(const Record&);
};

// The column of a field that is written as it stands. `Member` may belong to a base of `Record`.
template <typename Record, auto Member>
constexpr Column<Record> column(std::string_view name) {
  return {name, [](const Record& record) { return columnText(record.*Member); }};
}

template <typename Record>
void appendColumnNames(std::span<const Column<Record>> columns, std::vector<std::string>& names) {
  for (const Column<Record>& row : columns)
    names.emplace_back(row.name);
}

template <typename Record>
void appendColumnTexts(std::span<const Column<Record>> columns, const Record& record,
                       std::vector<std::string>& values) {
  for (const Column<Record>& row : columns)
    values.push_back(row.text(record));
}

template <typename Record>
[[nodiscard]] std::vector<std::string> columnNames(std::span<const Column<Record>> columns) {
  std::vector<std::string> names;
  appendColumnNames(columns, names);
  return names;
}

template <typename Record>
[[nodiscard]] std::vector<std::string> columnTexts(std::span<const Column<Record>> columns,
                                                   const Record& record) {
  std::vector<std::string> values;
  appendColumnTexts(columns, record, values);
  return values;
}

}  // namespace orv
