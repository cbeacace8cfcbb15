#include "orvctl/text/TextTable.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

#include "orvctl/text/DisplayText.h"

namespace orv::ctl {
namespace {

constexpr int INDENT = 2;
constexpr int GAP = 2;
constexpr int MAX_BAR = 40;

// A bar in eighths of a column where the style knows block characters, else in whole columns. What
// is not nothing shows.
std::string bar(double fraction, int width, const Style& style) {
  static constexpr std::array<std::string_view, 8> EIGHTHS = {"",  "▏", "▎", "▍",
                                                              "▌", "▋", "▊", "▉"};
  const int steps = style.unicode ? 8 : 1;
  int length = static_cast<int>(std::lround(std::clamp(fraction, 0.0, 1.0) * width * steps));
  if (fraction > 0)
    length = std::max(length, 1);
  std::string text;
  for (int i = 0; i < length / steps; ++i)
    text += style.unicode ? "█" : "#";
  if (style.unicode)
    text += EIGHTHS[static_cast<std::size_t>(length % steps)];
  return text;
}

// Padding behind the last cell of a line would be seen only by those who copy it.
void endLine(std::string& line) {
  line.erase(line.find_last_not_of(' ') + 1);
  line += '\n';
}

}  // namespace

void TextTable::addRow(std::vector<std::string> cells, double fraction) {
  cells.resize(m_columns.size());
  m_rows.push_back({std::move(cells), fraction});
}

std::vector<int> TextTable::widths(const Style& style) const {
  std::vector<int> result;
  int used = INDENT;
  for (std::size_t column = 0; column < m_columns.size(); ++column) {
    int width = displayWidth(m_columns[column].title);
    for (const Row& row : m_rows)
      width = std::max(width, displayWidth(row.cells[column]));
    if (m_columns[column].kind == Kind::TEXT)
      width = std::min(width, MAX_TEXT);
    result.push_back(width);
    used += width + (column > 0 ? GAP : 0);
  }
  for (std::size_t column = 0; column < m_columns.size(); ++column)
    if (m_columns[column].kind == Kind::BAR)
      result[column] = column + 1 == m_columns.size()
                           ? std::clamp(style.width - (used - result[column]), 0, MAX_BAR)
                           : BAR_WIDTH;
  return result;
}

std::string TextTable::renderCell(std::size_t column, const std::string& text, int width,
                                  const Style& style) const {
  if (m_columns[column].kind == Kind::FIGURE)
    return padLeft(text, width);
  if (m_columns[column].kind == Kind::PATH)
    return text;
  if (m_columns[column].kind == Kind::WHOLE)
    return padRight(text, width);
  return padRight(shortened(text, width, style.ellipsis()), width);
}

std::string TextTable::render(const Style& style) const {
  const std::vector<int> width = widths(style);
  std::string out;
  std::string line;
  const auto begin = [&](std::size_t column) { line.append(column > 0 ? GAP : INDENT, ' '); };

  for (std::size_t column = 0; column < m_columns.size(); ++column) {
    begin(column);
    line += renderCell(column, m_columns[column].title, width[column], style);
  }
  endLine(line);
  out += line;

  for (const Row& row : m_rows) {
    line.clear();
    for (std::size_t column = 0; column < m_columns.size(); ++column) {
      begin(column);
      if (m_columns[column].kind == Kind::BAR) {
        const std::string drawn = bar(row.fraction, width[column], style);
        line += emphasized(drawn, Emphasis::BAR, style);
        if (column + 1 < m_columns.size())
          line.append(static_cast<std::size_t>(width[column] - displayWidth(drawn)), ' ');
      } else
        line += renderCell(column, row.cells[column], width[column], style);
    }
    endLine(line);
    out += line;
  }
  return out;
}

}  // namespace orv::ctl
