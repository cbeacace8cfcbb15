#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "orvctl/job/RootFacts.h"
#include "orvctl/job/TypedInput.h"

// What a job of orvctl is told: its definition and its mount table.
namespace orv::ctl {

// How old data must be to count as unused.
struct Age {
  std::string text;  // as typed, as a where clause takes it: "90d"
  std::int64_t seconds = 0;
};

// The ages of a list, "90d,1y,2y", ascending. Throws CtlError with EXIT_USAGE for what is none.
[[nodiscard]] std::vector<Age> parseAges(std::string_view list);

struct JobRequest {
  std::vector<RootFacts> roots;  // each is scanned as a filesystem of its own
  int rankingSize = 100;         // how many entries every ranking keeps, 1 to 32,767
  WhereClause where = {};        // which entries count; all when empty
  std::vector<Age> ages = {};
  bool watchedInFull = false;  // every statistic for watched directories, instead of subtree sizes
  std::string host = {};
};

// The definition of a job with one filesystem per root. The first profile asks for everything there
// is; those behind it (HelpingProfiles.h) for what it cannot tell. Throws CtlError for a root that
// a definition cannot express.
[[nodiscard]] std::string definitionText(const JobRequest& request);

// A mount table with one entry per root, which makes each a filesystem of its own. The type is one
// that has no device whose physical size would be read. Throws CtlError for a root that is too
// long.
[[nodiscard]] std::string mountTableText(const JobRequest& request);

// The fsID under which a directory is scanned: positive, the same in every run, so that the lock of
// the filesystem keeps two scans of one directory apart and lets scans of different ones run at
// once.
[[nodiscard]] std::int32_t filesystemIdOf(std::string_view root);

}  // namespace orv::ctl
