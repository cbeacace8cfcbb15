#include "orvctl/report/DirectoryTables.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "orvctl/text/DisplayText.h"
#include "orvctl/text/TextTable.h"
#include "orvctl/text/Units.h"

namespace orv::ctl {
namespace {

using Kind = TextTable::Kind;
using Subtrees = std::vector<const Subtree*>;

// More than these are not listed, whatever the options say.
constexpr std::size_t MOST = 10'000;

// The directories of a root that were measured, largest first; with `watched` those that somebody
// asked for.
Subtrees chosen(const Root& root, bool watched) {
  Subtrees found;
  for (const Subtree& subtree : root.subtrees)
    if (!watched || subtree.watched)
      found.push_back(&subtree);
  return found;
}

std::string table(const Subtrees& subtrees, std::size_t count, const Root& root,
                  const ReportOptions& options) {
  TextTable table({{"size", Kind::FIGURE},
                   {"share", Kind::FIGURE},
                   {"", Kind::BAR},
                   {"files", Kind::FIGURE},
                   {"dirs", Kind::FIGURE},
                   {"path", Kind::PATH}});
  const auto& all = root.main().totals;
  const double whole = all ? static_cast<double>(all->bytes) : 0;
  for (std::size_t i = 0; i < count; ++i) {
    const Subtree& subtree = *subtrees[i];
    const std::string path = pathText(subtree.entry.path, options.style);
    if (!subtree.totals) {
      table.addRow({"-", "-", "", "-", "-", path});
      continue;
    }
    const auto bytes = static_cast<double>(subtree.totals->bytes);
    table.addRow({sizeText(subtree.totals->bytes), whole > 0 ? shareText(bytes, whole) : "-", "",
                  countText(subtree.totals->files), countText(subtree.totals->directories), path},
                 whole > 0 ? bytes / whole : 0);
  }
  return table.render(options.style);
}

std::string titled(const std::string& title, const std::string& body, std::size_t more,
                   const ReportOptions& options, const char* wayToMore = "") {
  std::string out = emphasized(title, Emphasis::TITLE, options.style) + "\n" + body;
  if (more > 0)
    out += fmt::format("  ({} more{})\n", countText(static_cast<std::int64_t>(more)), wayToMore);
  return out;
}

std::string levelsOf(const Root& root) {
  return fmt::format("Largest directories with all that is below them, {} down",
                     numberOf(root.depth, "level"));
}

// Why it is not more levels.
std::string cutOf(const Root& root) {
  return root.depthCut.empty() ? "" : "  (" + root.depthCut + ")\n";
}

}  // namespace

int linesOf(std::string_view text, const Style& style) {
  int lines = 0;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const int width = displayWidth(withoutEmphasis(text.substr(0, end)));
    lines += std::max(1, (width + style.width - 1) / style.width);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

std::string renderLargestDirectories(const Root& root, const ReportOptions& options, int lines) {
  const Subtrees subtrees = chosen(root, false);
  if (subtrees.empty())
    return root.depthCut.empty() ? "" : "  No directory was measured: " + root.depthCut + "\n";
  // An empty line in front, and a line for what is left out.
  std::size_t count = std::min<std::size_t>(subtrees.size(), static_cast<std::size_t>(options.top));
  for (;; --count) {
    const std::string body =
        titled(levelsOf(root), cutOf(root) + table(subtrees, count, root, options),
               subtrees.size() - count, options, ": see --section directories");
    if (count <= 1 || linesOf(body, options.style) + 1 <= lines)
      return "\n" + body;
  }
}

std::string renderDirectories(const Root& root, const ReportOptions& options) {
  const Subtrees subtrees = chosen(root, false);
  if (subtrees.empty())
    return {};
  const std::size_t count =
      std::min({subtrees.size(), static_cast<std::size_t>(options.top), MOST});
  return titled(levelsOf(root), cutOf(root) + table(subtrees, count, root, options),
                subtrees.size() - count, options) +
         "\n";
}

std::string renderWatchedList(const Root& root, const ReportOptions& options) {
  const Subtrees subtrees = chosen(root, true);
  if (subtrees.empty() && root.notMet.empty())
    return {};
  const std::size_t count = std::min(subtrees.size(), static_cast<std::size_t>(options.top));
  std::string out = titled("Watched directories", table(subtrees, count, root, options),
                           subtrees.size() - count, options);
  for (const std::string& spec : root.notMet)
    out += "  no directory was met for " + pathText(spec, options.style) + "\n";
  return out + "\n";
}

std::string renderWatched(const Root& root, const ReportOptions& options) {
  std::string out;
  const Subtrees subtrees = chosen(root, true);
  for (std::size_t i = 0; i < std::min(subtrees.size(), static_cast<std::size_t>(options.top)); ++i)
    for (const Profile& profile : subtrees[i]->profiles) {
      const Statistics& statistics = profile.statistics;
      out += emphasized("Watched directory " + pathText(subtrees[i]->entry.path, options.style),
                        Emphasis::TITLE, options.style) +
             "\n";
      if (statistics.totals)
        out += fmt::format("  {}, {}, {} ({} bytes)\n", filesText(statistics.totals->files),
                           numberOf(statistics.totals->directories, "directory"),
                           sizeText(statistics.totals->bytes), countText(statistics.totals->bytes));
      out += "\n" + renderStatistics(statistics, options);
    }
  if (out.empty() && !subtrees.empty())
    out =
        "The watched directories were measured in one figure each; \"orvctl scan --section "
        "watched\"\ngathers every statistic of them.\n\n";
  return out;
}

}  // namespace orv::ctl
