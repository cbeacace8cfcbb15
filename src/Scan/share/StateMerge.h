#pragma once

#include <string>
#include <vector>

#include "Scan/share/StateFile.h"

namespace orv {
class Scanner;
}

namespace orv::share {

// What becomes of the states that are merged. Called on the merging thread.
class MergeTarget {
 public:
  MergeTarget() = default;
  virtual ~MergeTarget() = default;
  MergeTarget(const MergeTarget&) = delete;
  MergeTarget& operator=(const MergeTarget&) = delete;

  // The container that all parts of that one are absorbed into; it is the target's own.
  [[nodiscard]] virtual CuStatAccum& begin(const Container& container) = 0;
  // Of a linked inode the name that one walk would have met first of all those that are merged.
  virtual void firstName(const FileAttributes& info) = 0;
  // All parts were absorbed.
  virtual void end() = 0;

  virtual void met(const Met& met) = 0;
  virtual void message(const std::string& line) = 0;
};

// Merges states of one run, container by container and inode by inode, so that memory does not
// depend on how many files and links there are. The result is that of one walk over all that the
// states cover; it makes no difference in which order, or in how many steps, they are merged.
// `scanner` is what accumulators are shown. What is left over is passed by. Throws StateError.
[[nodiscard]] Trailer mergeStates(const std::vector<std::string>& files, const std::string& run,
                                  Scanner& scanner, MergeTarget& target);

// Resolves owner and group of an entry that was read.
void resolve(FileAttributes& info, const Scanner& scanner);

}  // namespace orv::share
