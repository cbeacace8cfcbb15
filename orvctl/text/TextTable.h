#pragma once

#include <string>
#include <vector>

#include "orvctl/text/Style.h"

namespace orv::ctl {

// A table whose columns line up at any terminal width. At most one column gives way: the PATH
// column is shortened in the middle, the BAR column drawn as long as there is room.
//
//   TextTable table({{"size", Kind::FIGURE}, {"path", Kind::PATH}});
//   table.addRow({"1.5 GiB", printable(path)});
//   out += table.render(style);
class TextTable final {
 public:
  enum class Kind {
    TEXT,    // to the left, shortened beyond MAX_TEXT columns
    FIGURE,  // to the right, never shortened
    PATH,    // to the left, takes the room that is left
    BAR      // last column: the row's fraction as a bar
  };
  struct Column {
    std::string title;
    Kind kind;
  };
  static constexpr int MAX_TEXT = 16;

  explicit TextTable(std::vector<Column> columns) : m_columns(std::move(columns)) {}

  // One cell per column but a BAR, all printable; `fraction` (0 to 1) is the length of the bar.
  void addRow(std::vector<std::string> cells, double fraction = 0);

  [[nodiscard]] bool isEmpty() const noexcept { return m_rows.empty(); }

  // Title line and rows, each ended by LF, none longer than the style's width as long as the
  // figures alone leave room.
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
