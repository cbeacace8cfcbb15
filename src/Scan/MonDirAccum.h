#pragma once

#include <memory>

#include "Scan/CuStatAccum.h"
#include "Scan/ResultsByFS.h"
#include "Scan/SMonDir.h"

namespace orv {

// A profile's accumulators for monitored directories. Inactive until an Activator reaches one; then
// it measures that directory's tree from fresh accumulators, adds an entry to the profile's results
// when the directory is left, and is inactive again. Owned by the filesystem scan.
class MonDirAccum final : public CuStatAccum {
 public:
  // All must outlive the accumulator. `owner` is the profile's result list.
  MonDirAccum(CuStatDef& profile, Filesystem& filesystem, ResultsByFSList& owner);

  // Starts measuring the directory.
  void activate(std::shared_ptr<SMonDir> smonDir);

  void actUpon(Scanner* pScanner, FileAttributes* pInfo) override;
  // The first directory entered after the activation is taken for the monitored one.
  void directoryEntered(FileAttributes* pDirInfo) override;
  // Delivers the results when the monitored directory itself is left.
  void directoryLeft() override;

  // The directory being measured; null while inactive.
  [[nodiscard]] const std::shared_ptr<SMonDir>& directory() const noexcept { return m_directory; }

  MonDirAccum* nextTarget = nullptr;  // not owned; the Activator's chain

 private:
  void deliver();

  CuStatDef& m_profile;
  Filesystem& m_filesystem;
  ResultsByFSList& m_owner;
  std::shared_ptr<SMonDir> m_directory;
};

}  // namespace orv
