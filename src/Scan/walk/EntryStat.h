#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>

namespace orv {

// What examining an entry yields: the figures of lstat that the scan uses, in 64 bytes, so that a
// window of examined entries stays small.
struct EntryStat {
  std::uint64_t inode;
  std::int64_t size;      // bytes
  std::int64_t blocks;    // 512-byte blocks
  std::int64_t accessed;  // seconds since 1970
  std::int64_t modified;  // seconds since 1970
  std::uint32_t device;   // low 32 bits of st_dev
  std::uint32_t mode;
  std::uint32_t linkCount;
  std::uint32_t uid;
  std::uint32_t gid;

  void assign(const struct stat& st) noexcept {
    inode = st.st_ino;
    size = st.st_size;
    blocks = st.st_blocks;
    accessed = st.st_atime;
    modified = st.st_mtime;
    device = static_cast<std::uint32_t>(st.st_dev);
    mode = st.st_mode;
    linkCount = static_cast<std::uint32_t>(st.st_nlink);
    uid = st.st_uid;
    gid = st.st_gid;
  }
};

// Examines `name` in the open directory `directory` (AT_FDCWD for a path; an empty name is the
// directory itself), never following a link. 0, or the errno value.
[[nodiscard]] inline int examineEntry(int directory, const char* name, EntryStat& result) noexcept {
  // The flag for the empty name makes the kernel look at every name twice.
  const int flags = *name == '\0' ? AT_SYMLINK_NOFOLLOW | AT_EMPTY_PATH : AT_SYMLINK_NOFOLLOW;
  struct stat st;
  if (::fstatat(directory, name, &st, flags) != 0)
    return errno;
  result.assign(st);
  return 0;
}

}  // namespace orv
