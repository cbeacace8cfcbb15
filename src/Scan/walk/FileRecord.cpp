#include "Scan/walk/FileRecord.h"

namespace orv {

Passage EntryRules::passageOf(int level, std::string_view name) const {
  if (level >= MAX_LEVELS - 1)
    return Passage::TOO_DEEP;
  // Snapshots are left out at the top only, and then any whose path, the root's included, holds
  // their mark.
  if (level > 0)
    return Passage::ENTERED;
  std::string path = rootPath;
  if (!path.ends_with('/'))
    path += '/';
  path += name;
  const bool isSnapshot = (!snapshotPath.empty() && path == snapshotPath) ||
                          path.find(".snapshot") != std::string::npos;
  return isSnapshot ? Passage::LEFT_OUT : Passage::ENTERED;
}

int examineByMount(int directory, const char* name, EntryStat& result) noexcept {
  const int flags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT | (*name == '\0' ? AT_EMPTY_PATH : 0);
  struct statx stx;
  if (::statx(directory, name, flags, STATX_BASIC_STATS | STATX_MNT_ID, &stx) != 0)
    return errno;
  result.inode = stx.stx_ino;
  result.size = static_cast<std::int64_t>(stx.stx_size);
  result.blocks = static_cast<std::int64_t>(stx.stx_blocks);
  result.accessed = stx.stx_atime.tv_sec;
  result.modified = stx.stx_mtime.tv_sec;
  // The mount stands in for the device, so that all who compare devices need not know of overlays.
  result.device = static_cast<std::uint32_t>(stx.stx_mnt_id);
  result.mode = stx.stx_mode;
  result.linkCount = stx.stx_nlink;
  result.uid = stx.stx_uid;
  result.gid = stx.stx_gid;
  return 0;
}

}  // namespace orv
