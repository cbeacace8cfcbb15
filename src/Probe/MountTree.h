#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>

namespace orv {

class StatThread;

// One usable entry of the mount table, escapes decoded.
struct MountEntry {
  std::string source;      // device, `host:export`, or whatever the filesystem was mounted from
  std::string mountPoint;  // as the table has it: no trailing "/" unless it is the root
  std::string type;        // as the system names it ("ext4", "nfs4", ...)
};

// How the mounts of this process lie on one another, as the kernel tells it: the mount table does
// not say that a mount is hidden by a later one on a directory above it. Read once per job, used on
// its thread. No call on any mount is made.
class MountTree final {
 public:
  MountTree() = default;
  // The keys point into the mounts, whose places a move keeps.
  MountTree(MountTree&&) = default;
  MountTree& operator=(MountTree&&) = default;
  MountTree(const MountTree&) = delete;
  MountTree& operator=(const MountTree&) = delete;

  // Of the kernel's table of that name. Without it nothing counts as mounted.
  [[nodiscard]] static MountTree read(const std::string& table = "/proc/self/mountinfo");

  // Whether something is mounted at `path`, visible or not.
  [[nodiscard]] bool isMounted(std::string_view path) const;
  // Where the mount lies that hides what is mounted at `path`; empty when it is visible, or nothing
  // is mounted there.
  [[nodiscard]] std::string hiddenBy(std::string_view path) const;

 private:
  struct Mount {
    int parent;
    std::string point;
  };

  std::map<int, Mount> m_mounts;                          // by mount id
  std::map<std::pair<int, std::string_view>, int> m_ids;  // by parent (0: none) and mount point
};

// By what the filesystem at a mount point is known again: taken when the job matches it with the
// mount table, and once more when its walk begins, since hours may lie between.
struct MountRoot {
  std::uint32_t device = 0;    // low 32 bits of st_dev
  bool isRootOfMount = false;  // something is mounted right here
  // Its files may show the devices of the layers that they lie on: only their mount tells whether
  // they belong to it.
  bool isOverlay = false;
  // By these it is known on another machine, too, which has other numbers for the devices.
  std::uint64_t inode = 0;
  std::int64_t magic = 0;  // of the filesystem's kind, as statfs tells it

  [[nodiscard]] bool operator==(const MountRoot&) const = default;
};

// Examines the open root. 0, or the errno value.
[[nodiscard]] int examineMountRoot(int directory, MountRoot& root);

// Examines what is at `path`, links followed, within `nfsTimeout` seconds where that is above 0,
// as `statThread` tells. 0, or the errno value.
[[nodiscard]] int examineMountRoot(const std::string& path, int nfsTimeout, StatThread* statThread,
                                   MountRoot& root);

}  // namespace orv
