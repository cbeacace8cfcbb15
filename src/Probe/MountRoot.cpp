#include "Probe/MountRoot.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/sysmacros.h>

#include <cerrno>

#include "Probe/MountTree.h"
#include "runtime/unx/virtstat.h"
#include "runtime/ut/UniqueFd.h"

namespace orv {
namespace {

int examineWithTimeout(const std::string& path, int nfsTimeout, StatThread& thread,
                       MountRoot& root) {
  struct stat st {};
  struct statfs64 fs {};
  int error = 0;
  if (thread.zplNFSsyscalls(path.c_str(), 0, &st, VS_STAT, nfsTimeout, error) != 0 ||
      thread.zplNFSsyscalls(path.c_str(), 0, &fs, VS_STATFS, nfsTimeout, error) != 0)
    return error;
  // The calls do not tell whether something is mounted there; the kernel's table does.
  const MountTree mounts = MountTree::read();
  root = {static_cast<std::uint32_t>(st.st_dev),
          mounts.isMounted(path) && mounts.hiddenBy(path).empty(),
          fs.f_type == OVERLAYFS_SUPER_MAGIC};
  return 0;
}

}  // namespace

int examineMountRoot(int directory, MountRoot& root) {
  struct statx stx {};
  struct statfs fs {};
  if (::statx(directory, "", AT_EMPTY_PATH, STATX_TYPE, &stx) != 0 ||
      ::fstatfs(directory, &fs) != 0)
    return errno;
  root = {static_cast<std::uint32_t>(::makedev(stx.stx_dev_major, stx.stx_dev_minor)),
          (stx.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0, fs.f_type == OVERLAYFS_SUPER_MAGIC};
  return 0;
}

int examineMountRoot(const std::string& path, int nfsTimeout, StatThread* statThread,
                     MountRoot& root) {
  if (nfsTimeout > 0)
    return examineWithTimeout(path, nfsTimeout, *statThread, root);
  // No right to read the directory is needed.
  const UniqueFd directory(::open(path.c_str(), O_PATH | O_CLOEXEC));
  return directory ? examineMountRoot(directory.get(), root) : errno;
}

}  // namespace orv
