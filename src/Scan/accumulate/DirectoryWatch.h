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
  // All must outlive the accumulator. `owner` is the profile's result list. With `keeper` what was
  // measured is a part, and goes there instead; null for whole directories.
  MonDirAccum(CuStatDef& profile, Filesystem& filesystem, ResultsByFSList& owner,
              PartKeeper* keeper = nullptr);

  // Starts measuring the directory.
  void activate(std::shared_ptr<SMonDir> smonDir);

  void actUpon(Scanner* pScanner, FileAttributes* pInfo) override;
  // Goes on measuring a directory that another walk has met; `isInside` when the walk begins below
  // it.
  void resume(std::shared_ptr<SMonDir> smonDir, bool isInside);
  // Ends the measurement: of a directory that is left to another walk, which `pDirInfo` describes,
  // or (null) of one that the next part of this walk does not lie in.
  void endPart(FileAttributes* pDirInfo);

  // The first directory entered after the activation is taken for the monitored one.
  void directoryEntered(FileAttributes* pDirInfo) override;
  // Delivers the results when the monitored directory itself is left.
  void directoryLeft() override;

  // The directory being measured; null while inactive.
  [[nodiscard]] const std::shared_ptr<SMonDir>& directory() const noexcept { return m_directory; }

  std::unique_ptr<MonDirAccum> nextTarget;  // the chain that an Activator is aimed at

 private:
  void deliver();
  void describe(const FileAttributes& info);

  CuStatDef& m_profile;
  Filesystem& m_filesystem;
  ResultsByFSList& m_owner;
  PartKeeper* m_keeper;
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
  // `filesystem` and the profiles and selections added must outlive the watch. With `keeper` parts
  // of directories are measured, which go there.
  explicit DirectoryWatch(Filesystem& filesystem, PartKeeper* keeper = nullptr);
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
  // Ends this part of it, and notes what a walk that begins there is inside of.
  void directoryLeftOver(FileAttributes* pDirInfo) override;

  // The monitored directories that a directory lies in, or is, from the top down.
  using Enclosing = std::vector<std::shared_ptr<SMonDir>>;
  // Of the directory that was left over last.
  [[nodiscard]] const Enclosing& enclosing() const noexcept { return m_enclosing; }
  // Begins, or goes on, with a directory of that level that another walk has met as an entry. What
  // was measured so far of directories that it does not lie in is complete. Without directories,
  // ends all measurements.
  void resume(const Enclosing& enclosing, int level);

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
  MonDirAccum* targetsOfLevel(std::size_t level);

  Filesystem& m_filesystem;
  PartKeeper* m_keeper;
  Enclosing m_enclosing;
  std::vector<Profile> m_profiles;
  std::deque<Activator> m_activators;                                  // as they were added
  std::unordered_map<std::string, std::vector<std::size_t>> m_byPath;  // places, ascending
  std::vector<Mask> m_masks;
  std::vector<Targets> m_targets;     // by level below the root
  std::vector<std::size_t> m_active;  // levels being measured, ascending
  std::size_t m_level = 0;            // of the entries being met; 0 for the root itself
};

}  // namespace orv
