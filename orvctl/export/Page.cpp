#include "orvctl/export/Page.h"

#include <fmt/format.h>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <string_view>
#include <utility>
#include <vector>

#include "orvctl/export/Json.h"
#include "orvctl/export/PageParts.h"
#include "orvctl/text/CtlError.h"
#include "orvctl/text/Units.h"

namespace orv::ctl {
namespace {

using Indexes = std::map<std::string_view, int>;

// The nearest directory above `path` that has a row; -1 for the root.
int parentOf(std::string_view path, const Indexes& rows) {
  for (std::size_t slash = path.rfind('/'); slash != std::string_view::npos && slash > 0;
       slash = path.rfind('/', slash - 1))
    if (const auto found = rows.find(path.substr(0, slash)); found != rows.end())
      return found->second;
  return -1;
}

std::string_view below(std::string_view path, std::string_view directory) {
  if (path.starts_with(directory))
    path.remove_prefix(directory.size());
  if (path.starts_with('/'))
    path.remove_prefix(1);
  return path;
}

using Json = nlohmann::ordered_json;

// The library takes 150 KB; so the page stays below 1 MB whatever the result holds.
constexpr std::size_t TREE_BUDGET = 500'000;
constexpr std::size_t LISTS_BUDGET = 150'000;
constexpr std::size_t GROWTH_BUDGET = 40'000;
constexpr std::size_t MIN_LIST = 100;
constexpr std::size_t MAX_VIEWS = 20;

// What gzip made of a text. Throws CtlError when memory is short.
std::string unpacked(std::string_view packed) {
  constexpr int GZIP = 16;  // added to the size of the window: with the header of a gzip file
  z_stream stream{};
  if (::inflateInit2(&stream, MAX_WBITS + GZIP) != Z_OK)
    throw CtlError("cannot unpack the page: Cannot allocate memory");
  std::string text;
  std::string part(1 << 16, '\0');
  // The interface takes bytes that it does not change by a pointer to ones that may be changed.
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data()));
  stream.avail_in = static_cast<uInt>(packed.size());
  int state = Z_OK;
  while (state == Z_OK) {
    stream.next_out = reinterpret_cast<Bytef*>(part.data());
    stream.avail_out = static_cast<uInt>(part.size());
    state = ::inflate(&stream, Z_NO_FLUSH);
    text.append(part, 0, part.size() - stream.avail_out);
  }
  ::inflateEnd(&stream);
  if (state != Z_STREAM_END)
    throw CtlError("cannot unpack the page: " + std::string(::zError(state)));
  return text;
}

// Cuts a list and says how many items it lost.
std::size_t cut(Json& list, std::size_t length) {
  const std::size_t lost = list.size() > length ? list.size() - length : 0;
  list.erase(list.end() - static_cast<std::ptrdiff_t>(lost), list.end());
  return lost;
}

Json cutStatistics(const Json& whole, std::size_t length) {
  Json statistics = whole;
  for (const char* list : {"owners", "groups", "file_types", "largest_directories"})
    statistics["more"][list] = cut(statistics[list], length);
  for (Json& ranking : statistics["rankings"])
    ranking["more"] = cut(ranking["files"], length);
  return statistics;
}

// The statistics with lists as long as the page has room for, but never shorter than `least`.
Json fittingStatistics(const Json& whole, std::size_t least, std::size_t budget) {
  std::size_t length = std::max(least, MIN_LIST);
  Json statistics = cutStatistics(whole, length);
  while (length > least && statistics.dump().size() > budget) {
    length = std::max(length / 2, least);
    statistics = cutStatistics(whole, length);
  }
  return statistics;
}

// What the page can show: a root or a watched directory by one profile.
struct View {
  std::size_t root;
  std::string label;
  const Profile* profile;
};

std::vector<View> viewsOf(const Scan& scan) {
  static const Profile NONE;  // a root of which only directories were watched
  std::vector<View> views;
  for (std::size_t root = 0; root < scan.roots.size(); ++root) {
    const Root& own = scan.roots[root];
    for (const Profile& profile : own.profiles)
      views.push_back({root, own.path, &profile});
    if (own.profiles.empty())
      views.push_back({root, own.path, &NONE});
    for (const Subtree& subtree : own.subtrees)
      for (const Profile& profile : subtree.profiles)
        views.push_back({root, subtree.entry.path, &profile});
  }
  return views;
}

Json viewsJson(std::span<const View> views, const PageOptions& options) {
  Json json = Json::array();
  for (const View& view : views)
    json.push_back({{"root", view.root},
                    {"label", view.label},
                    {"profile", view.profile->name},
                    {"statistics",
                     fittingStatistics(jsonOf(*view.profile), static_cast<std::size_t>(options.top),
                                       LISTS_BUDGET / views.size())}});
  return json;
}

Json rootsJson(const Scan& scan) {
  Json json = Json::array();
  for (const Root& root : scan.roots) {
    Json facts = factsOf(root);
    PageTree tree = pageTree(root, TREE_BUDGET / scan.roots.size());
    facts["tree"] = std::move(tree.rows);
    facts["tree_cut"] = tree.left;
    json.push_back(std::move(facts));
  }
  return json;
}

// ---- Growth

std::string perDay(double bytes) {
  return sizeText(std::llround(bytes)) + " a day";
}

std::string trendText(const Trend& trend) {
  if (trend.kind == Trend::Kind::NONE)
    return "No trend: the scans are too few or scatter too much.";
  std::string text = fmt::format(
      "{}{} (between {} and {}).", trend.kind == Trend::Kind::GROWING ? "Grows by " : "Changes by ",
      perDay(trend.bytesPerDay), perDay(trend.lowest), perDay(trend.highest));
  if (trend.full)
    text += fmt::format(" Full in {:.0f} days (between {:.0f} and {:.0f}).", trend.full->days,
                        trend.full->earliest, trend.full->latest);
  return text;
}

// Of more than `most` points, which are at least two, only some are drawn: the first, the last and
// such as lie evenly between them.
Json lineJson(const GrowthLine& line, const std::string& name, std::size_t most) {
  const std::size_t scans = line.points.size();
  const std::size_t drawn = std::min(scans, most);
  Json points = Json::array();
  for (std::size_t i = 0; i < drawn; ++i) {
    const GrowthPoint& point = line.points[drawn < scans ? i * (scans - 1) / (drawn - 1) : i];
    points.push_back({point.time, point.bytes});
  }
  return {{"name", name}, {"scans", scans}, {"points", std::move(points)}};
}

Json growthJson(const GrowthSeries& growth, std::size_t budget) {
  constexpr std::size_t POINT_SIZE = 26;  // as JSON, about
  const std::size_t most =
      std::max<std::size_t>(budget / POINT_SIZE / (growth.directories.size() + 2), 2);
  Json directories = Json::array();
  for (const GrowthLine& line : growth.directories)
    directories.push_back(lineJson(line, line.name, most));
  return {{"path", growth.path},
          {"trend", trendText(growth.trend)},
          {"total", lineJson(growth.total, "Total size", most)},
          {"used", lineJson(growth.used, "Used in the filesystem", most)},
          {"directories", std::move(directories)}};
}

Json growthJson(std::span<const GrowthSeries> growth) {
  Json json = Json::array();
  for (const GrowthSeries& series : growth)
    json.push_back(growthJson(series, GROWTH_BUDGET / growth.size()));
  return json;
}

// JSON that no script element ends at, whatever names it holds.
std::string scriptJson(const Json& json) {
  std::string text;
  for (const char character : json.dump())
    if (character == '<')
      text += "\\u003c";
    else
      text += character;
  return text;
}

// The page with every "@NAME@" replaced; what is put in is not looked at again.
std::string filled(std::string_view page,
                   const std::vector<std::pair<std::string_view, std::string_view>>& parts) {
  std::string out;
  for (const auto& [place, text] : parts) {
    const std::size_t at = page.find(place);
    out.append(page.substr(0, at)).append(text);
    page.remove_prefix(at + place.size());
  }
  return out.append(page);
}

}  // namespace

PageTree pageTree(const Root& root, std::size_t budget) {
  std::vector<const Subtree*> largest;
  for (const Subtree& subtree : root.subtrees)
    if (subtree.totals && subtree.entry.path != root.path)
      largest.push_back(&subtree);
  // A directory is at least as large as what is in it; of equal ones the upper comes first.
  std::ranges::stable_sort(largest, [](const Subtree* a, const Subtree* b) {
    return a->totals->bytes != b->totals->bytes ? a->totals->bytes > b->totals->bytes
                                                : a->depth < b->depth;
  });
  PageTree tree;
  Indexes rows;
  std::vector<std::string_view> paths;
  for (const Subtree* subtree : largest) {
    const std::string_view path = subtree->entry.path;
    const int parent = parentOf(path, rows);
    const std::string_view above =
        parent < 0 ? std::string_view(root.path) : paths[static_cast<std::size_t>(parent)];
    nlohmann::ordered_json row = {parent, below(path, above), subtree->totals->bytes,
                                  subtree->totals->files, subtree->totals->directories};
    const std::size_t cost = row.dump().size() + 1;
    if (cost > budget)
      break;
    budget -= cost;
    rows.emplace(path, static_cast<int>(paths.size()));
    paths.push_back(path);
    tree.rows.push_back(std::move(row));
  }
  tree.left = largest.size() - paths.size();
  return tree;
}

std::string renderPage(const Scan& scan, const PageOptions& options,
                       std::span<const GrowthSeries> growth) {
  Json run = jsonOf(scan.run);
  if (scan.run)
    cut(run["warnings"], static_cast<std::size_t>(options.top));
  const std::vector<View> views = viewsOf(scan);
  const auto shown = std::span(views).first(std::min(views.size(), MAX_VIEWS));
  const Json data = {{"version", scan.version},
                     {"result", scan.result},
                     {"host", scan.host},
                     {"run", std::move(run)},
                     {"roots", rootsJson(scan)},
                     {"views", viewsJson(shown, options)},
                     {"views_cut", views.size() - shown.size()},
                     {"growth", growthJson(growth)}};
  const std::string json = scriptJson(data);
  const std::string style = unpacked(PAGE_CSS);
  const std::string library = unpacked(PAGE_LIBRARY);
  const std::string script = unpacked(PAGE_JS);
  return filled(
      unpacked(PAGE_HTML),
      {{"@STYLE@", style}, {"@DATA@", json}, {"@LIBRARY@", library}, {"@SCRIPT@", script}});
}

}  // namespace orv::ctl
