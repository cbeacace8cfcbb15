#pragma once

#include <cstdint>
#include <memory>

#include "Scan/accumulate/CuStatAccum.h"
#include "Scan/results/CuStatResults.h"
#include "Scan/results/EntryRecords.h"
#include "Scan/walk/FileAction.h"

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
