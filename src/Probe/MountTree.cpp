#include "Probe/MountTree.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <sstream>

#include "runtime/unx/virtstat.h"
#include "runtime/ut/ScanPaths.h"
#include "runtime/ut/UniqueFd.h"

namespace orv {
namespace {

// The table writes blanks, line breaks and backslashes as "\" and three octal digits.
std::string decoded(std::string_view text) {
  std::string result;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] != '\\' || at + 3 >= text.size()) {
      result += text[at];
      continue;
    }
    result += static_cast<char>((text[at + 1] - '0') * 64 + (text[at + 2] - '0') * 8 +
                                (text[at + 3] - '0'));
    at += 3;
  }
  return result;
}

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
          fs.f_type == OVERLAYFS_SUPER_MAGIC, st.st_ino, fs.f_type};
  return 0;
}

}  // namespace

MountTree MountTree::read(const std::string& table) {
  MountTree tree;
  std::ifstream file(table);
  for (std::string line; std::getline(file, line);) {
    std::istringstream fields(line);
    int id = 0;
    Mount mount{};
    std::string device;
    std::string root;
    if (fields >> id >> mount.parent >> device >> root >> mount.point) {
      mount.point = decoded(mount.point);
      tree.m_mounts[id] = std::move(mount);
    }
  }
  for (const auto& [id, mount] : tree.m_mounts) {
    // What a root directory of this process lies on is not in its table, or is the root itself.
    const bool isTop = mount.parent == id || !tree.m_mounts.contains(mount.parent);
    tree.m_ids[{isTop ? 0 : mount.parent, mount.point}] = id;
  }
  return tree;
}

bool MountTree::isMounted(std::string_view path) const {
  path = withoutTrailingSlash(path);
  return std::ranges::any_of(m_mounts, [path](const auto& m) { return m.second.point == path; });
}

// Goes down the path as the kernel does: at each component into what is mounted there, if that lies
// on the mount reached so far.
std::string MountTree::hiddenBy(std::string_view path) const {
  path = withoutTrailingSlash(path);
  int reached = 0;
  for (std::size_t end = 1; end <= path.size(); ++end) {
    if (end != 1 && end != path.size() && path[end] != '/')
      continue;
    for (auto on = m_ids.find({reached, path.substr(0, end)}); on != m_ids.end();
         on = m_ids.find({reached, path.substr(0, end)}))
      reached = on->second;
  }
  const auto mount = m_mounts.find(reached);
  return mount == m_mounts.end() || mount->second.point == path || !isMounted(path)
             ? std::string()
             : mount->second.point;
}

int examineMountRoot(int directory, MountRoot& root) {
  struct statx stx {};
  struct statfs fs {};
  if (::statx(directory, "", AT_EMPTY_PATH, STATX_TYPE | STATX_INO, &stx) != 0 ||
      ::fstatfs(directory, &fs) != 0)
    return errno;
  root = {static_cast<std::uint32_t>(::makedev(stx.stx_dev_major, stx.stx_dev_minor)),
          (stx.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0, fs.f_type == OVERLAYFS_SUPER_MAGIC,
          stx.stx_ino, fs.f_type};
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
