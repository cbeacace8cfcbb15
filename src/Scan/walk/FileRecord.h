#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "Scan/entry/FileAttributes.h"

namespace orv {

// What the walk does with a directory of its filesystem that it meets as an entry.
enum class Passage : std::uint8_t {
  ENTERED,
  LEFT_OUT,  // a snapshot: neither counted nor entered
  TOO_DEEP   // shown, counted and reported, not entered
};

// Which entries belong to the scanned filesystem and which of its directories are entered: one set
// of rules for the walk and for what reads ahead of it. Fixed once the root was examined, and then
// for any thread.
struct EntryRules {
  // Levels that can be open at a time.
  static constexpr int MAX_LEVELS = 200;

  std::string rootPath;      // without a trailing "/", but for the root directory itself
  std::string snapshotPath;  // to be left out at the top; empty for none
  std::int64_t device = -1;  // low 32 bits of the root's; -1 when it could not be examined

  // Whether an entry on that device is one of the scanned filesystem; -1 when it could not be
  // examined, which is never one whatever the root's device is.
  [[nodiscard]] bool isOwn(std::int64_t entryDevice) const noexcept {
    return entryDevice >= 0 && entryDevice == device;
  }
  // Of a directory called `name` in a directory of that level, which is 0 for the root.
  [[nodiscard]] Passage passageOf(int level, std::string_view name) const;
};

class Scanner;

// How it is told whether an entry belongs to the filesystem of the walk's root.
enum class Membership : std::uint8_t {
  BY_DEVICE,
  BY_MOUNT,  // an overlay's files may show the devices of the layers that they lie on
};

// What examining an entry yields: the figures of lstat that the scan uses, in 64 bytes, so that a
// window of examined entries stays small.
struct EntryStat {
  std::uint64_t inode;
  std::int64_t size;      // bytes
  std::int64_t blocks;    // 512-byte blocks
  std::int64_t accessed;  // seconds since 1970
  std::int64_t modified;  // seconds since 1970
  std::uint32_t device;   // low 32 bits of st_dev; with BY_MOUNT the id of the mount
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
[[nodiscard]] int examineByMount(int directory, const char* name, EntryStat& result) noexcept;
[[nodiscard]] inline int examineEntry(int directory, const char* name, Membership membership,
                                      EntryStat& result) noexcept {
  if (membership == Membership::BY_MOUNT)
    return examineByMount(directory, name, result);
  // The flag for the empty name makes the kernel look at every name twice.
  const int flags = *name == '\0' ? AT_SYMLINK_NOFOLLOW | AT_EMPTY_PATH : AT_SYMLINK_NOFOLLOW;
  struct stat st;
  if (::fstatat(directory, name, &st, flags) != 0)
    return errno;
  result.assign(st);
  return 0;
}

// The working record of one entry, shared by the reader that names it and the scanner that examines
// it. One per scanner, reused; used on the scanning thread.
struct FileRecord {
  Scanner* scanner = nullptr;
  std::uint8_t type = 0;         // type code of the entry
  std::uint32_t attributes = 0;  // attribute flags made from the mode
  int directory = AT_FDCWD;      // open directory that `name` is relative to; AT_FDCWD for a path
  const char* name = nullptr;    // what to examine, below `directory`
  std::string path;              // the path to examine where no directory is used
  bool pathIsCut = false;        // the reported path exceeds what can be examined
  bool examined = false;         // `st` is filled already, or `error` tells why it is not
  int error = 0;                 // errno of the examination
  EntryStat st{};

  // Makes `path` what is examined.
  void useOwnPath() noexcept {
    directory = AT_FDCWD;
    name = path.c_str();
  }
};

// Where the walk is: what the scanner shares with the readers of its levels. One per scanner, used
// on the scanning thread.
struct WalkState {
  EntryRules rules;
  std::string path;  // of the directory being read
  int level = 0;     // of the directory being read, or opened; 0 for the scan root
  std::unique_ptr<FileAttributes> info;  // the current entry
  FileRecord file;                       // its working record

  [[nodiscard]] bool isAtRoot() const noexcept { return level == 0; }
  // End of a directory: the path loses its last component; the scan root is never cut.
  void stepToParent() noexcept;
};

}  // namespace orv
