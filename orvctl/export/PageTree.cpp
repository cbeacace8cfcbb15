#include "orvctl/export/PageTree.h"

#include <algorithm>
#include <map>
#include <string_view>

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

}  // namespace orv::ctl
