#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

// A result file as a tree of its entities. Read here and not with the definition reader: that one
// drops empty values, so the columns behind them would shift, and ends a value at a line break.
namespace orv::ctl {

using Values = std::vector<std::string>;

// One entity: "[name,qualifier]", its data lines, the entities inside it.
struct Entity {
  std::string name;
  std::string qualifier;
  std::vector<Values> rows;
  std::vector<Entity> children;

  // The first child of that name (and qualifier, unless empty); null when there is none.
  [[nodiscard]] const Entity* child(std::string_view childName,
                                    std::string_view childQualifier = {}) const;
};

// One data line seen through its header. Borrows both: valid as long as the result.
class Record final {
 public:
  Record(const Values& names, const Values& values) : m_names(names), m_values(values) {}

  // The value of that field; empty when the header lacks it or the value was written as nothing.
  [[nodiscard]] std::string_view text(std::string_view field) const;
  // The same as a decimal number, 0 for what is none.
  [[nodiscard]] std::int64_t number(std::string_view field) const;
  // The same as a list of numbers.
  [[nodiscard]] std::vector<std::int64_t> list(std::string_view field) const;

 private:
  const Values& m_names;
  const Values& m_values;
};

class ResultFile final {
 public:
  // Reads a result file. Throws CtlError when it cannot be read, is no result file, or is cut off.
  [[nodiscard]] static ResultFile read(const std::string& path);

  // The same from its text; `path` is for the error texts.
  [[nodiscard]] static ResultFile parse(std::string_view text, const std::string& path);

  // The AgentScan entity, which holds all others.
  [[nodiscard]] const Entity& scan() const noexcept { return m_scan; }

  // The data lines of an entity. Throws CtlError when a line has other columns than its header.
  [[nodiscard]] std::vector<Record> records(const Entity& entity) const;

  [[nodiscard]] const std::string& path() const noexcept { return m_path; }

  // A number that copies of one result share and different results hardly ever; never 0.
  [[nodiscard]] std::int64_t digest() const noexcept { return m_digest; }

 private:
  std::string m_path;
  std::map<std::string, Values, std::less<>> m_headers;
  Entity m_scan;
  std::int64_t m_digest = 0;
};

}  // namespace orv::ctl
