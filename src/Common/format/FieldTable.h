#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// Field tables: one row per header name of a record, which parsing and printing share.
//
//   constexpr Field<MonDirSpec> FIELDS[] = {
//       integerField<MonDirSpec, &MonDirSpec::m_mdsID>("mdsID"),
//       stringField<MonDirSpec, &MonDirSpec::m_mdsPath>("mdsPath"), ...
namespace orv {

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

}  // namespace orv
