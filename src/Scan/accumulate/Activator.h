#pragma once

#include <cstdint>

#include "Scan/walk/FileAction.h"

namespace orv {

class MonDirAccum;

// Starts the accumulators of a monitored directory when the walk reaches it. The watch shows it
// exactly the directories that its specification names, before their own records are counted. Owned
// by the DirectoryWatch, one per specification.
class Activator final : public FileAction {
 public:
  // `mdsID` is the specification that the results will name.
  explicit Activator(std::int32_t mdsID) noexcept;

  // Makes the accumulators of the level that the walk is at the targets: the head of a chain
  // through `nextTarget`, not owned.
  void aimAt(MonDirAccum* targets) noexcept { m_targets = targets; }

  // The walk reached the directory. When its targets are active already (another specification
  // names the same directory) the specification joins theirs.
  void actUpon(Scanner* pScanner, FileAttributes* pDirInfo) override;
  // Both do nothing: an activator acts on its directory alone.
  void directoryEntered(FileAttributes* pDirInfo) override;
  void directoryLeft() override;

 private:
  MonDirAccum* m_targets = nullptr;
  std::int32_t m_mdsID;
};

}  // namespace orv
