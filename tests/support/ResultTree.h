#pragma once

#include <fstream>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace orv::test {

using Row = std::map<std::string, std::string>;  // value by field name

// One entity of a result file, with its rows and children.
struct ResultNode {
  std::string name;
  std::string qualifier;
  std::vector<Row> rows;
  std::vector<ResultNode> children;

  // The children of that name (and qualifier, when given), in file order.
  [[nodiscard]] std::vector<const ResultNode*> all(const std::string& childName,
                                                   const std::string& childQualifier = "") const {
    std::vector<const ResultNode*> found;
    for (const ResultNode& child : children)
      if (child.name == childName && (childQualifier.empty() || child.qualifier == childQualifier))
        found.push_back(&child);
    return found;
  }
  [[nodiscard]] const ResultNode& one(const std::string& childName,
                                      const std::string& childQualifier = "") const {
    const auto found = all(childName, childQualifier);
    if (found.size() != 1)
      throw std::runtime_error(std::to_string(found.size()) + " entities " + childName + "," +
                               childQualifier + " in " + name);
    return *found.front();
  }
  [[nodiscard]] const Row& row() const {
    if (rows.size() != 1)
      throw std::runtime_error(std::to_string(rows.size()) + " rows in " + name);
    return rows.front();
  }
};

// A result file read by its published layout, apart from the product's reader: empty values keep
// their column.
class ResultTree final {
 public:
  explicit ResultTree(const std::string& path) : m_in(path, std::ios::binary) {
    if (!m_in)
      throw std::runtime_error("no result file " + path);
    readHeader();
    std::string line;
    std::getline(m_in, line);
    m_root = readNode(line);
  }
  [[nodiscard]] const ResultNode& root() const noexcept { return m_root; }
  [[nodiscard]] const std::vector<std::string>& headerOrder() const noexcept { return m_order; }

 private:
  static std::vector<std::string> split(const std::string& line) {
    std::vector<std::string> values(1);
    bool quoted = false;
    for (std::size_t i = 0; i < line.size(); ++i) {
      if (line[i] == '"' && quoted && i + 1 < line.size() && line[i + 1] == '"')
        values.back() += line[i++];
      else if (line[i] == '"')
        quoted = !quoted;
      else if (line[i] == ',' && !quoted)
        values.emplace_back();
      else
        values.back() += line[i];
    }
    return values;
  }

  void readHeader() {
    std::string line;
    std::string key;
    std::getline(m_in, line);
    if (line != "[Header]")
      throw std::runtime_error("first line is " + line);
    while (std::getline(m_in, line) && line != "[/Header]") {
      if (line.front() == '[') {
        key = line.substr(1, line.size() - 2);
        m_order.push_back(key);
      } else {
        m_fields[key] = split(line);
      }
    }
  }

  ResultNode readNode(const std::string& beginLine) {
    ResultNode node;
    node.name = beginLine.substr(1, beginLine.size() - 2);
    if (const auto comma = node.name.find(','); comma != std::string::npos) {
      node.qualifier = node.name.substr(comma + 1);
      node.name.resize(comma);
    }
    std::string line;
    while (std::getline(m_in, line)) {
      if (line == "[/" + node.name + "]")
        return node;
      if (line.front() == '[') {
        node.children.push_back(readNode(line));
        continue;
      }
      const auto values = split(line);
      const auto& names = m_fields.at(node.name);
      if (values.size() != names.size())
        throw std::runtime_error(node.name + ": " + line);
      Row row;
      for (std::size_t i = 0; i < names.size(); ++i)
        row[names[i]] = values[i];
      node.rows.push_back(std::move(row));
    }
    throw std::runtime_error("no end of " + node.name);
  }

  std::ifstream m_in;
  std::vector<std::string> m_order;
  std::map<std::string, std::vector<std::string>> m_fields;
  ResultNode m_root;
};

}  // namespace orv::test
