#pragma once

#include <cstdint>
#include <string>

namespace orv {

class StatThread;

// By what the filesystem at a mount point is known again: taken when the job matches it with the
// mount table, and once more when its walk begins, since hours may lie between.
struct MountRoot {
  std::uint32_t device = 0;    // low 32 bits of st_dev
  bool isRootOfMount = false;  // something is mounted right here
  // Its files may show the devices of the layers that they lie on: only their mount tells whether
  // they belong to it.
  bool isOverlay = false;

  [[nodiscard]] bool operator==(const MountRoot&) const = default;
};

// Examines the open root. 0, or the errno value.
[[nodiscard]] int examineMountRoot(int directory, MountRoot& root);

// Examines what is at `path`, links followed, within `nfsTimeout` seconds where that is above 0,
// as `statThread` tells. 0, or the errno value.
[[nodiscard]] int examineMountRoot(const std::string& path, int nfsTimeout, StatThread* statThread,
                                   MountRoot& root);

}  // namespace orv
