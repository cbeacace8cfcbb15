#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "orvctl/job/MountTable.h"

// What is found out about a directory before it is scanned.
namespace orv::ctl {

struct RootFacts {
  std::string path;  // absolute, without links
  std::string type;  // of the filesystem that it lies on
  std::string source;
  std::int64_t device = 0;  // st_dev: the scan of the root stays on it
  bool isMountPoint = false;
  bool mayHang = false;         // a server or another process answers for it, or for a mount below
  bool accessTimesKept = true;  // mounted without noatime
  std::int64_t capacity = 0;    // bytes, as `df` shows them: what is reserved is neither used...
  std::int64_t used = 0;
  std::int64_t free = 0;                // ...nor free
  std::int64_t usedInodes = 0;          // 0 where the filesystem does not count them
  std::vector<std::string> mounts;      // mounted below it: "/data/tmp (tmpfs)"
  std::vector<std::string> snapshots;   // directories that the scan skips by their names; the first
  int depth = 0;                        // levels of directories whose subtrees are measured
  std::string cut;                      // why that is less than was asked for
  std::vector<std::string> watch;       // monitored directories, as `watchPath` gives them
  std::vector<std::string> notWatched;  // as typed: what does not lie in here

  [[nodiscard]] static std::string toJson(const RootFacts& facts);
  // Throws nlohmann's exceptions for a text that `toJson` did not make.
  [[nodiscard]] static RootFacts fromJson(const std::string& text);
};

struct RootQuestion {
  std::string typed;               // the path as it was given
  std::vector<std::string> watch;  // what to monitor below it, as it was given
  int depth = 0;                   // levels of directories to measure, 0 to 5
  bool watchMustBe = true;         // a directory to watch that does not lie in it is an error
};

// More directories than these are not measured one by one, so that the scan's memory is bounded
// whatever the tree. Each takes about 1.5 KB there.
inline constexpr std::size_t MAX_SUBTREES = 10'000;

// Finds out about a directory, in a child process: what the directory lies on may never answer.
// Throws CtlError when the directory cannot be scanned, or gives no answer within `limit`.
[[nodiscard]] RootFacts examineRoot(const RootQuestion& question, const MountTable& mounts,
                                    std::chrono::seconds limit);

}  // namespace orv::ctl
