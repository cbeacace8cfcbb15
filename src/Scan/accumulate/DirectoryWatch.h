#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Scan/accumulate/MonDirAccum.h"
#include "Scan/select/PathPattern.h"
#include "Scan/walk/FileAction.h"

namespace orv {

class CuStatDef;
class EntrySelection;
class Filesystem;
class MonDirAccum;

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
