#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Scan/accumulate/CuStatAccum.h"
#include "Scan/results/CuStatResults.h"
#include "Scan/results/EntryRecords.h"
#include "Scan/select/PathPattern.h"
#include "Scan/walk/FileAction.h"

namespace orv {

class CuStatDef;
class EntrySelection;
class Filesystem;

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

// The monitored directories of one walk: finds by one look-up of its path whether a directory is
// monitored (masked paths are tried one after the other, for directories only) and shows entries to
// the accumulators of the monitored directories that the walk is inside of. The last action of the
// walk, and one that sees every entry: its profiles have selections of their own. Made by the
// filesystem scan for one tree, called by its scanner, on the scanning thread.
//
// A walk is inside of at most one directory per level, so one set of accumulators per level serves
// any number of monitored directories, however they are nested and named.
class DirectoryWatch final : public FileAction {
 public:
  // `filesystem` and the profiles and selections added must outlive the watch.
  explicit DirectoryWatch(Filesystem& filesystem);
  ~DirectoryWatch() override;

  // A profile to be gathered for every monitored directory, of entries that `selection` admits
  // (null admits all). All profiles are added before the walk.
  void addProfile(CuStatDef& profile, EntrySelection& selection);

  // A directory to monitor: its exact path, with or without a "/" at its end, or a pattern of such
  // paths, which must outlive the watch. `mdsID` names the specification in the results; those that
  // name one directory do so in the order in which they were added, patterns or not.
  void addDirectory(std::string_view path, std::int32_t mdsID);
  void addMask(const PathPattern& mask, std::int32_t mdsID);

  // One entry of the walk; a monitored directory is activated before it is counted itself.
  void actUpon(Scanner* pScanner, FileAttributes* pInfo) override;
  void directoryEntered(FileAttributes* pDirInfo) override;
  void directoryLeft() override;
  // Ends the directory's measurement with its own record.
  void directoryNotEntered(FileAttributes* pDirInfo) override;

 private:
  struct Profile {
    CuStatDef* profile;
    EntrySelection* selection;
  };
  struct Mask {
    const PathPattern* pattern;
    std::size_t activator;  // its place
  };
  // The accumulators of one level: a chain through `nextTarget`, one per profile in their order.
  using Targets = std::unique_ptr<MonDirAccum>;

  void activate(Scanner* scanner, FileAttributes* info);
  void activateOne(std::size_t activator, Scanner* scanner, FileAttributes* info);
  [[nodiscard]] MonDirAccum* targetsOfLevel();

  Filesystem& m_filesystem;
  std::vector<Profile> m_profiles;
  std::deque<Activator> m_activators;                                  // as they were added
  std::unordered_map<std::string, std::vector<std::size_t>> m_byPath;  // places, ascending
  std::vector<Mask> m_masks;
  std::vector<Targets> m_targets;     // by level below the root
  std::vector<std::size_t> m_active;  // levels being measured, ascending
  std::size_t m_level = 0;            // of the entries being met; 0 for the root itself
};

}  // namespace orv
