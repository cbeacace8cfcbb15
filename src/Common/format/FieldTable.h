#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace orv {

// Field tables: one row per header name of a record, which parsing and printing share.
//
//   constexpr Field<MonDirSpec> FIELDS[] = {
//       integerField<MonDirSpec, &MonDirSpec::m_mdsID>("mdsID"),
//       stringField<MonDirSpec, &MonDirSpec::m_mdsPath>("mdsPath"), ...

// Decimal text: leading blanks allowed, trailing garbage ignored, 0 for what is no number.
[[nodiscard]] inline std::int64_t parseInteger(const std::string& text) {
  return std::strtol(text.c_str(), nullptr, 10);
}

// "Y", "y" or "true" set the flag, "N", "n" or "false" clear it, any other text leaves it.
inline void parseFlag(const std::string& text, bool& flag) {
  if (text == "Y" || text == "y" || text == "true")
    flag = true;
  else if (text == "N" || text == "n" || text == "false")
    flag = false;
}

[[nodiscard]] inline std::string flagText(bool flag) {
  return flag ? "Y" : "N";
}

// One field of record `Record`: how it is read from text and written as text.
template <typename Record>
struct Field {
  std::string_view name;
  void (*read)(Record&, const std::string&);
  std::string (*write)(const Record&);
};

template <typename Record, auto Member>
constexpr Field<Record> integerField(std::string_view name) {
  return {name,
          [](Record& record, const std::string& text) {
            using Value = std::remove_reference_t<decltype(record.*Member)>;
            record.*Member = static_cast<Value>(parseInteger(text));
          },
          [](const Record& record) { return std::to_string(record.*Member); }};
}

template <typename Record, auto Member>
constexpr Field<Record> flagField(std::string_view name) {
  return {name, [](Record& record, const std::string& text) { parseFlag(text, record.*Member); },
          [](const Record& record) { return flagText(record.*Member); }};
}

template <typename Record, auto Member>
constexpr Field<Record> stringField(std::string_view name) {
  return {name, [](Record& record, const std::string& text) { record.*Member = text; },
          [](const Record& record) { return record.*Member; }};
}

// The field of that header name; null when the table has none.
template <typename Record>
[[nodiscard]] const Field<Record>* findField(std::span<const Field<Record>> fields,
                                             std::string_view name) {
  const auto found = std::find_if(fields.begin(), fields.end(),
                                  [name](const Field<Record>& f) { return f.name == name; });
  return found == fields.end() ? nullptr : &*found;
}

// The names in table order: the record's header line.
template <typename Record>
[[nodiscard]] std::vector<std::string> fieldNames(std::span<const Field<Record>> fields) {
  std::vector<std::string> names;
  for (const Field<Record>& field : fields)
    names.emplace_back(field.name);
  return names;
}

// The values in table order: the record's data line.
template <typename Record>
[[nodiscard]] std::vector<std::string> fieldValues(std::span<const Field<Record>> fields,
                                                   const Record& record) {
  std::vector<std::string> values;
  for (const Field<Record>& field : fields)
    values.push_back(field.write(record));
  return values;
}

// Sets every field that `header` names from the value in the same column; unknown names are
// skipped. `row` has as many values as `header` has names.
template <typename Record>
void readFields(std::span<const Field<Record>> fields, const std::vector<std::string>& header,
                const std::vector<std::string>& row, Record& record) {
  for (std::size_t column = 0; column < header.size(); ++column)
    if (const Field<Record>* field = findField(fields, header[column]))
      field->read(record, row[column]);
}

// Column tables: one row per field of a result record, in the order of its header line, which is
// the order of the values in its data lines. The write-only sibling of Common/FieldTable.h.
//
//   constexpr Column<STimeDist> COLUMNS[] = {
//       column<STimeDist, &STimeDist::tdType>("tdType"), ...

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
