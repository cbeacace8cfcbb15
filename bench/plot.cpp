// Draws the cost per entry against the size of the tree, one line per command, as SVG.
//
//   plot ROWS.json OUT.svg
//
// ROWS.json is what `measure --json` writes. Costs are relative to the first command on the first
// tree; both axes are logarithmic, the vertical one to the base of 2.

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace {

constexpr double WIDTH = 860;
constexpr double HEIGHT = 480;
constexpr double LEFT = 60;
constexpr double RIGHT = 660;
constexpr double TOP = 50;
constexpr double BOTTOM = 420;
constexpr double LABEL_STEP = 16;  // between the names at the right, so that none covers another

const char* const COLOURS[] = {"#000000", "#1f77b4", "#17becf", "#d62728", "#ff9896", "#2ca02c",
                               "#8c564b", "#9467bd", "#e377c2", "#7f7f7f", "#bcbd22", "#ff7f0e"};

struct Point {
  double entries;
  double cost;
};

struct Line {
  std::string name;
  std::vector<Point> points;
};

// Where a value lies between the ends of an axis, on a logarithmic scale.
class Axis final {
 public:
  Axis(double low, double high, double from, double to)
      : m_low(std::log2(low)), m_high(std::log2(high)), m_from(from), m_to(to) {}
  [[nodiscard]] double at(double value) const {
    const double span = m_high > m_low ? m_high - m_low : 1;
    return m_from + (std::log2(value) - m_low) / span * (m_to - m_from);
  }

 private:
  double m_low;
  double m_high;
  double m_from;
  double m_to;
};

std::vector<Line> linesOf(const nlohmann::json& rows) {
  std::vector<Line> lines;
  for (const auto& row : rows) {
    const std::string name = row.at("name");
    auto line = std::find_if(lines.begin(), lines.end(),
                             [&](const Line& known) { return known.name == name; });
    if (line == lines.end())
      line = lines.insert(lines.end(), {name, {}});
    line->points.push_back({row.at("entries"), row.at("costPerEntry")});
  }
  return lines;
}

std::string text(double x, double y, const std::string& anchor, const std::string& words,
                 const std::string& colour = "#333") {
  return fmt::format("<text x='{:.1f}' y='{:.1f}' text-anchor='{}' fill='{}'>{}</text>\n", x, y,
                     anchor, colour, words);
}

std::string grid(const Axis& down, const Axis& across, double highest,
                 const std::vector<Point>& sizes) {
  std::string out;
  for (double cost = 0.5; cost <= highest; cost *= 2) {
    out += fmt::format("<line x1='{}' x2='{}' y1='{:.1f}' y2='{:.1f}' stroke='#ddd'/>\n", LEFT,
                       RIGHT, down.at(cost), down.at(cost));
    out += text(LEFT - 8, down.at(cost) + 4, "end", fmt::format("{}", cost));
  }
  for (const Point& size : sizes)
    out +=
        text(across.at(size.entries), BOTTOM + 20, "middle", fmt::format("{:.0f}", size.entries));
  return out;
}

std::string curves(const std::vector<Line>& lines, const Axis& down, const Axis& across) {
  std::string out;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const char* colour = COLOURS[i % std::size(COLOURS)];
    std::string points;
    for (const Point& point : lines[i].points)
      points += fmt::format("{:.1f},{:.1f} ", across.at(point.entries), down.at(point.cost));
    out += fmt::format("<polyline points='{}' fill='none' stroke='{}' stroke-width='2'/>\n", points,
                       colour);
  }
  return out;
}

// The names at the ends of the curves, pushed apart where curves end close to each other.
std::string labels(const std::vector<Line>& lines, const Axis& down) {
  std::vector<std::size_t> order(lines.size());
  for (std::size_t i = 0; i < order.size(); ++i)
    order[i] = i;
  std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    return lines[a].points.back().cost > lines[b].points.back().cost;
  });
  std::string out;
  double free = TOP - LABEL_STEP;
  for (const std::size_t i : order) {
    const Point& end = lines[i].points.back();
    free = std::max(free + LABEL_STEP, down.at(end.cost) + 4);
    out += text(RIGHT + 10, free, "start", fmt::format("{} {:.2f}", lines[i].name, end.cost),
                COLOURS[i % std::size(COLOURS)]);
  }
  return out;
}

std::string draw(const nlohmann::json& rows) {
  const std::vector<Line> lines = linesOf(rows);
  const std::vector<Point>& sizes = lines.at(0).points;
  double highest = 1;
  for (const Line& line : lines)
    for (const Point& point : line.points)
      highest = std::max(highest, point.cost);
  const Axis down(0.5, highest, BOTTOM, TOP);
  const Axis across(sizes.front().entries, sizes.back().entries, LEFT + 30, RIGHT - 10);
  return fmt::format(
             "<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 {0} {1}' "
             "font-family='sans-serif' font-size='12'>\n"
             "<rect width='{0}' height='{1}' fill='#fff'/>\n",
             WIDTH, HEIGHT) +
         text(LEFT, 24, "start",
              fmt::format("Cost per entry by entries in the tree; {} on the smallest tree = 1",
                          lines.at(0).name)) +
         grid(down, across, highest, sizes) + curves(lines, down, across) + labels(lines, down) +
         "</svg>\n";
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: plot ROWS.json OUT.svg\n";
    return 2;
  }
  try {
    std::ifstream in(argv[1]);
    std::ofstream out(argv[2]);
    out << draw(nlohmann::json::parse(in));
    if (!out.flush())
      throw std::runtime_error("cannot write it");
  } catch (const std::exception& error) {
    std::cerr << "plot: " << argv[1] << " to " << argv[2] << ": " << error.what() << '\n';
    return 1;
  }
  return 0;
}
