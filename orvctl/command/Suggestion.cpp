#include "orvctl/command/Suggestion.h"

#include <algorithm>
#include <numeric>

namespace orv::ctl {
namespace {

// How many letters must be added, dropped, replaced or swapped with the next to make one word of
// the other.
std::size_t distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> before;  // rows of the table of distances between beginnings
  std::vector<std::size_t> above(b.size() + 1);
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(above.begin(), above.end(), 0);
  for (std::size_t i = 1; i <= a.size(); ++i) {
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      row[j] =
          std::min({above[j] + 1, row[j - 1] + 1, above[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
        row[j] = std::min(row[j], before[j - 2] + 1);
    }
    before = above;
    above = row;
  }
  return above.back();
}

}  // namespace

std::string nearest(std::string_view word, const std::vector<std::string>& known) {
  std::string best;
  std::size_t least = std::max<std::size_t>(1, word.size() / 3) + 1;
  for (const std::string& candidate : known)
    if (const std::size_t found = distance(word, candidate); found < least) {
      least = found;
      best = candidate;
    }
  return best;
}

}  // namespace orv::ctl
