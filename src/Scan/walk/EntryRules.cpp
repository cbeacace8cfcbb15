#include "Scan/walk/EntryRules.h"

namespace orv {

Passage EntryRules::passageOf(int level, std::string_view name) const {
  if (level >= MAX_LEVELS - 1)
    return Passage::TOO_DEEP;
  // Snapshots are left out at the top only, and then any whose path, the root's included, holds
  // their mark.
  if (level > 0)
    return Passage::ENTERED;
  std::string path = rootPath;
  if (!path.ends_with('/'))
    path += '/';
  path += name;
  const bool isSnapshot = (!snapshotPath.empty() && path == snapshotPath) ||
                          path.find(".snapshot") != std::string::npos;
  return isSnapshot ? Passage::LEFT_OUT : Passage::ENTERED;
}

}  // namespace orv
