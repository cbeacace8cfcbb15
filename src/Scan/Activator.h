#pragma once

#include <cstdint>

#include "Scan/FileAction.h"

namespace orv {

class MonDirAccum;

// Starts the accumulators of a monitored directory when the walk reaches it. Its selection admits
// exactly that directory, and it stands before its targets among the walk's actions, so that the
// directory's own record is counted. Owned by the filesystem scan.
class Activator final : public FileAction {
 public:
  // `targets` is the head of a chain of accumulators linked by `nextTarget`, not owned; `mdsID` is
  // the specification that the results will name.
  Activator(MonDirAccum* targets, std::int32_t mdsID) noexcept;

  // The walk reached the directory. When its targets are active already (another specification
  // names the same directory) the specification joins theirs.
  void actUpon(Scanner* pScanner, FileAttributes* pDirInfo) override;
  // Both do nothing: an activator acts on its directory alone.
  void directoryEntered(FileAttributes* pDirInfo) override;
  void directoryLeft() override;

 private:
  MonDirAccum* m_targets;
  std::int32_t m_mdsID;
};

}  // namespace orv
