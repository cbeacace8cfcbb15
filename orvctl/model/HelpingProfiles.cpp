#include "orvctl/model/HelpingProfiles.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <set>
#include <utility>

namespace orv::ctl {
namespace {

using AccountList = std::vector<Account> Statistics::*;

// What lies above the last bound of the size distribution is told apart by `over`, ascending.
void splitLastClass(std::vector<Class>& sizes, const std::vector<HelpingProfile>& over) {
  for (const HelpingProfile& profile : over) {
    if (sizes.empty() || profile.statistics.sizes.empty() || profile.number < *sizes.back().from)
      continue;
    Class above{profile.number + 1, std::nullopt, 0, 0};
    for (const Class& part : profile.statistics.sizes) {
      above.entries += part.entries;
      above.bytes += part.bytes;
    }
    sizes.back().to = profile.number;
    sizes.back().entries -= above.entries;
    sizes.back().bytes -= above.bytes;
    sizes.push_back(above);
  }
}

// The main ranking holds the largest of what is below `FILES_FROM`, and some above it; the helping
// one holds all above, up to its limit. Together they are in order of full size.
void mergeLargest(Statistics& main, HelpingProfile& large) {
  const auto own = std::ranges::find(main.rankings, RankingKind::LARGEST_FILES, &Ranking::kind);
  const auto more =
      std::ranges::find(large.statistics.rankings, RankingKind::LARGEST_FILES, &Ranking::kind);
  if (own == main.rankings.end() || more == large.statistics.rankings.end())
    return;
  std::set<std::string> known;
  for (const Entry& file : own->files)
    known.insert(file.path);
  own->misranked = static_cast<std::int64_t>(more->files.size()) >= more->limit;
  std::ranges::copy_if(std::move(more->files), std::back_inserter(own->files),
                       [&known](const Entry& file) { return !known.contains(file.path); });
  std::ranges::stable_sort(own->files, std::ranges::greater{}, &Entry::bytes);
}

void addUnused(Statistics& main, const Statistics& old, AccountList list) {
  for (Account& account : main.*list) {
    const auto found = std::ranges::find(old.*list, account.id, &Account::id);
    account.unused.push_back(found == (old.*list).end()
                                 ? Unused{}
                                 : Unused{found->totals.entries(), found->totals.bytes});
  }
}

void addAge(Root& root, const HelpingProfile& old) {
  AgeLimit limit{
      old.number, old.kind == Helping::MODIFIED_OVER ? AgeKind::MODIFIED : AgeKind::ACCESSED, {}};
  if (const auto& totals = old.statistics.totals)
    limit.all = {totals->entries(), totals->bytes};
  root.ages.push_back(limit);
  Statistics& main = root.profiles.front().statistics;
  addUnused(main, old.statistics, &Statistics::owners);
  addUnused(main, old.statistics, &Statistics::groups);
}

void takeLinks(Root& root, const Statistics& links) {
  root.namesWithLinks = links.totals;
  root.hasLinkedFiles = std::ranges::any_of(
      links.largestDirectories,
      [](const RankedDirectory& directory) { return directory.direct.files > 0; });
}

}  // namespace

std::optional<HelpingProfile> helpingProfile(std::string_view name) {
  for (const HelpingName& known : HELPING_NAMES) {
    if (!name.starts_with(known.name))
      continue;
    const std::string_view rest = name.substr(known.name.size());
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
    const bool whole = error == std::errc() && end == rest.data() + rest.size() && number > 0;
    if (known.name.ends_with(' ') ? whole : rest.empty())
      return HelpingProfile{known.kind, number, {}};
  }
  return std::nullopt;
}

void mergeHelping(Root& root, std::vector<HelpingProfile> helping) {
  std::ranges::stable_sort(helping, {}, &HelpingProfile::number);
  std::vector<HelpingProfile> sizes;
  for (HelpingProfile& profile : helping) {
    if (profile.kind == Helping::LINKS)
      takeLinks(root, profile.statistics);
    if (root.profiles.empty())
      continue;
    if (profile.kind == Helping::FILES_FROM)
      mergeLargest(root.profiles.front().statistics, profile);
    else if (profile.kind == Helping::SIZE_OVER)
      sizes.push_back(std::move(profile));
    else if (profile.kind == Helping::ACCESSED_OVER || profile.kind == Helping::MODIFIED_OVER)
      addAge(root, profile);
  }
  if (!root.profiles.empty())
    splitLastClass(root.profiles.front().statistics.sizes, sizes);
}

}  // namespace orv::ctl
