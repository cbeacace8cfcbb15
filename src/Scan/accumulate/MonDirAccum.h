#pragma once

#include <memory>

#include "Scan/accumulate/CuStatAccum.h"
#include "Scan/results/ResultsByFS.h"
#include "Scan/results/SMonDir.h"

namespace orv {

// A profile's accumulators for monitored directories. Inactive until an Activator reaches one; then
// it measures that directory's tree from fresh accumulators, adds an entry to the profile's results
// when the directory is left, and is inactive again. Owned by the DirectoryWatch.
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

  std::unique_ptr<MonDirAccum> nextTarget;  // the chain that an Activator is aimed at

 private:
  void deliver();

  CuStatDef& m_profile;
  Filesystem& m_filesystem;
  ResultsByFSList& m_owner;
  std::shared_ptr<SMonDir> m_directory;
};

}  // namespace orv
