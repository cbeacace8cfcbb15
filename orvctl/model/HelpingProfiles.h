#pragma once

#include <array>

#include "orvctl/model/Model.h"

// One profile cannot tell everything: orvctl's definitions ask for more profiles in the same walk,
// known by these names. A name that ends in a blank goes on with a number (bytes or seconds). The
// writer of the definition and the reader of the result share this table.
namespace orv::ctl {

enum class Helping { SUBTREES, FILES_FROM, SIZE_OVER, ACCESSED_OVER, MODIFIED_OVER, LINKS };

struct HelpingName {
  Helping kind;
  std::string_view name;
};

// clang-format off
inline constexpr std::array<HelpingName, 6> HELPING_NAMES = {{
    {Helping::SUBTREES,      "orvctl:subtrees"},        // sums of the monitored directories
    {Helping::FILES_FROM,    "orvctl:files-from "},     // largest files of that size and more
    {Helping::SIZE_OVER,     "orvctl:size-over "},      // size distribution of what is larger
    {Helping::ACCESSED_OVER, "orvctl:accessed-over "},  // owners, groups, sums of what is older
    {Helping::MODIFIED_OVER, "orvctl:modified-over "},  // the same by last modification
    {Helping::LINKS,         "orvctl:links"},           // sums of the names of files with several
}};
// clang-format on

struct HelpingProfile {
  Helping kind;
  std::int64_t number;  // 0 for a name without one
  Statistics statistics;
};

// What a profile of that name helps with, its statistics still empty; nothing for any other name.
[[nodiscard]] std::optional<HelpingProfile> helpingProfile(std::string_view name);

// Merges what the helping profiles of a root gathered into its first profile and its own figures.
void mergeHelping(Root& root, std::vector<HelpingProfile> helping);

}  // namespace orv::ctl
