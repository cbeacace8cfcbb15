#pragma once

#include <string>
#include <vector>

#include "orvctl/text/Style.h"

namespace orv::ctl {

// A table whose columns line up. Paths are never cut, so that they can be copied: a PATH column
// stands last and may go beyond the terminal's width. A BAR column is drawn as long as there is
// room.
//
//   TextTable table({{"size", Kind::FIGURE}, {"path", Kind::PATH}});
//   table.addRow({"1.5 GiB", printable(path)});
//   out += table.render(style);
class TextTable final {
 public:
  enum class Kind {
    TEXT,    // to the left, shortened beyond MAX_TEXT columns
    WHOLE,   // to the left, never shortened
    FIGURE,  // to the right, never shortened
    PATH,    // last column: whole, however long
    BAR      // the row's fraction as a bar: what room is left, or BAR_WIDTH in front of a path
  };
  struct Column {
    std::string title;
    Kind kind;
  };
  static constexpr int MAX_TEXT = 18;
  static constexpr int BAR_WIDTH = 12;

  explicit TextTable(std::vector<Column> columns) : m_columns(std::move(columns)) {}

  // One cell per column (that of a BAR empty), all printable; `fraction` (0 to 1) is the length of
  // the bar.
  void addRow(std::vector<std::string> cells, double fraction = 0);

  [[nodiscard]] bool isEmpty() const noexcept { return m_rows.empty(); }

  // Title line and rows, each ended by LF.
  [[nodiscard]] std::string render(const Style& style) const;

 private:
  struct Row {
    std::vector<std::string> cells;
    double fraction;
  };

  [[nodiscard]] std::vector<int> widths(const Style& style) const;
  [[nodiscard]] std::string renderCell(std::size_t column, const std::string& text, int width,
                                       const Style& style) const;

  std::vector<Column> m_columns;
  std::vector<Row> m_rows;
};

}  // namespace orv::ctl
