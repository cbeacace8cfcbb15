#pragma once

#include <fmt/format.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace orv::ctl {

// A table by RFC 4180, built row by row: lines end in CR LF, what needs quotes gets them, a missing
// optional is an empty value. Texts are UTF-8 already.
//
//   CsvTable table("path,bytes");
//   table.row(file.path, file.bytes);
//   return table.take();
class CsvTable final {
 public:
  explicit CsvTable(std::string_view header) : m_text(std::string(header) + "\r\n") {}

  template <typename... Values>
  void row(const Values&... values) {
    std::string line;
    ((line += ',', line += cell(values)), ...);
    m_text.append(line, 1).append("\r\n");
  }

  [[nodiscard]] std::string take() { return std::move(m_text); }

 private:
  static std::string cell(std::string_view value) {
    if (value.find_first_of("\",\r\n") == std::string_view::npos)
      return std::string(value);
    std::string quoted = "\"";
    for (const char character : value)
      quoted.append(character == '"' ? 2 : 1, character);
    return quoted + "\"";
  }
  static std::string cell(const std::string& value) { return cell(std::string_view(value)); }
  static std::string cell(const char* value) { return cell(std::string_view(value)); }
  static std::string cell(bool value) { return value ? "true" : "false"; }
  static std::string cell(int value) { return std::to_string(value); }
  static std::string cell(std::size_t value) { return std::to_string(value); }
  static std::string cell(std::int64_t value) { return std::to_string(value); }
  static std::string cell(double value) { return fmt::format("{:.3f}", value); }
  template <typename Value>
  static std::string cell(const std::optional<Value>& value) {
    return value ? cell(*value) : std::string();
  }

  std::string m_text;
};

}  // namespace orv::ctl
