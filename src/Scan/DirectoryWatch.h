#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Scan/PathPattern.h"
#include "Scan/SelectNode.h"

namespace orv {

class CuStatDef;
class Filesystem;
class MonDirAccum;
class Scanner;
struct FileAttributes;

// The monitored directories of one walk: finds by one look-up of its path whether a directory is
// monitored (masked paths are tried one after the other, for directories only) and shows entries to
// the accumulators of the monitored directories that the walk is inside of. Made by the filesystem
// scan for one tree, called by its scanner, on the scanning thread.
//
// A walk is inside of at most one directory per level, so one set of accumulators per level serves
// any number of monitored directories, however they are nested and named.
class DirectoryWatch final {
 public:
  // `filesystem` and the profiles and selections added must outlive the watch.
  explicit DirectoryWatch(Filesystem& filesystem);
  ~DirectoryWatch();
  DirectoryWatch(const DirectoryWatch&) = delete;
  DirectoryWatch& operator=(const DirectoryWatch&) = delete;

  // A profile to be gathered for every monitored directory, of entries that `selection` admits
  // (null admits all). All profiles are added before the walk.
  void addProfile(CuStatDef& profile, const SelectNode* selection);

  // A directory to monitor: its exact path, with or without a "/" at its end, or a pattern of such
  // paths, which must outlive the watch. `mdsID` names the specification in the results.
  void addDirectory(std::string_view path, std::int32_t mdsID);
  void addMask(const PathPattern& mask, std::int32_t mdsID);

  // One entry of the walk; a monitored directory is activated before it is counted itself.
  void actUpon(Scanner* scanner, FileAttributes* info, const SelectContext& context);
  void directoryEntered(FileAttributes* dirInfo);
  void directoryLeft();
  // The directory shown last is not entered: its measurement ends with its own record.
  void directoryNotEntered(FileAttributes* dirInfo);

 private:
  struct Profile {
    CuStatDef* profile;
    const SelectNode* selection;
  };
  struct Mask {
    const PathPattern* pattern;
    std::int32_t mdsID;
  };
  // The accumulators of one level, one per profile, chained as an activator's targets.
  using Targets = std::vector<std::unique_ptr<MonDirAccum>>;

  void activate(Scanner* scanner, FileAttributes* info);
  void activateOne(Scanner* scanner, FileAttributes* info, std::int32_t mdsID);
  [[nodiscard]] Targets& targetsOfLevel();

  Filesystem& m_filesystem;
  std::vector<Profile> m_profiles;
  std::unordered_multimap<std::string, std::int32_t> m_byPath;  // mdsIDs by path
  std::vector<Mask> m_masks;
  std::vector<Targets> m_targets;     // by level below the root
  std::vector<std::size_t> m_active;  // levels being measured, ascending
  std::size_t m_level = 0;            // of the entries being met; 0 for the root itself
};

}  // namespace orv
