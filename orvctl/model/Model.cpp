#include "orvctl/model/Model.h"

#include <algorithm>

namespace orv::ctl {
namespace {

template <typename List, typename Kind>
auto findKind(const List& list, Kind kind) -> decltype(list.data()) {
  const auto found =
      std::ranges::find_if(list, [kind](const auto& item) { return item.kind == kind; });
  return found == list.end() ? nullptr : &*found;
}

}  // namespace

const Ranking* Statistics::ranking(RankingKind kind) const noexcept {
  return findKind(rankings, kind);
}

const AgeDistribution* Statistics::age(AgeKind kind) const noexcept {
  return findKind(ages, kind);
}

std::vector<NotEntered> NotRead::notEntered() const {
  std::vector<NotEntered> all = otherMounts;
  all.insert(all.end(), snapshots.begin(), snapshots.end());
  return all;
}

const Statistics& Root::main() const noexcept {
  static const Statistics NONE;
  return profiles.empty() ? NONE : profiles.front().statistics;
}

bool Root::isSelection() const noexcept {
  return !profiles.empty() && profiles.front().name.starts_with(SELECTION_NAME);
}

std::optional<Totals> Scan::totals() const {
  std::optional<Totals> sum;
  for (const Root& root : roots)
    if (const auto& own = root.main().totals) {
      sum = sum.value_or(Totals{0, 0, 0, 0});
      sum->files += own->files;
      sum->directories += own->directories;
      sum->others =
          sum->others && own->others ? std::optional(*sum->others + *own->others) : std::nullopt;
      sum->bytes += own->bytes;
    }
  return sum;
}

}  // namespace orv::ctl
