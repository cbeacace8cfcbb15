#include "Probe/Mounts.h"

#include <fcntl.h>
#include <mntent.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <fstream>
#include <string_view>
#include <thread>

#include "Probe/Filesystem.h"
#include "Probe/PhysicalSize.h"
#include "runtime/nls/MessageLog.h"
#include "runtime/thrd/StopFlag.h"
#include "runtime/unx/Files.h"
#include "runtime/unx/virtstat.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

constexpr const char* ZENFS_CLUSTER_FILE = "/etc/zenfs/cluster";
// Longest line of the table that is read; what is longer is reported and left out.
constexpr std::size_t ENTRY_BUFFER_SIZE = 1025;

// Types that are never scanned, in byte order for the binary search.
// clang-format off
constexpr std::array<std::string_view, 19> EXCLUDED_TYPES = {
    "auto",       "autofs",                 "binfmt_misc", "debugfs",  "devpts",
    "dmpfs",      "fuse.gvfs-fuse-daemon",  "fusectl",     "iso9660",  "mvfs",
    "nfsd",       "proc",                   "rpc_pipefs",  "securityfs", "smbfs",
    "subfs",      "swap",                   "usbdevfs",    "vxodmfs"};
// clang-format on
static_assert(std::is_sorted(EXCLUDED_TYPES.begin(), EXCLUDED_TYPES.end()));

// Types whose inode figures mean nothing.
constexpr std::array<std::string_view, 2> TYPES_WITHOUT_INODES = {"vxfs", "reiserfs"};

constexpr std::chrono::milliseconds LOCK_INTERVAL{50};

// Asks again and again for a lock that another process holds, so that a job that is stopped ends.
bool setLock(std::FILE* table, short kind) {
  struct flock64 lock {};
  lock.l_type = kind;
  lock.l_whence = SEEK_SET;
  while (::fcntl(::fileno(table), F_SETLK64, &lock) != 0) {
    if (errno != EAGAIN && errno != EACCES && errno != EINTR)
      return false;
    throwIfStopped();
    std::this_thread::sleep_for(LOCK_INTERVAL);
  }
  return true;
}

// Whether `entry`, read into `buffer`, ended before its line did, so that its last field is cut or
// missing. A missing field does not point into the buffer.
bool isCut(const mntent& entry, const char* buffer) {
  const std::string_view type(entry.mnt_type);
  return type.empty() || type.data() + type.size() >= buffer + ENTRY_BUFFER_SIZE - 1;
}

// The kernel also escapes the "#" of a source, which getmntent_r leaves as it is.
std::string withNumberSigns(std::string source) {
  constexpr std::string_view escaped = "\\043";
  for (std::size_t at = 0; (at = source.find(escaped, at)) != std::string::npos; ++at)
    source.replace(at, escaped.size(), "#");
  return source;
}

// 0, or the errno value.
int askForFigures(const std::string& mountPoint, int nfsTimeout, StatThread& statThread,
                  struct statvfs64& st) {
  if (nfsTimeout <= 0)
    return ::statvfs64(mountPoint.c_str(), &st) == 0 ? 0 : errno;
  int error = 0;
  (void)statThread.zplNFSsyscalls(mountPoint.c_str(), 0, &st, VS_STATVFS, nfsTimeout, error);
  return error;
}

void traceFigures(const struct statvfs64& st) {
  TRACE(TR_GENERAL, ">> \t f_bsize = %u, f_frsize = %u\n", static_cast<unsigned>(st.f_bsize),
        static_cast<unsigned>(st.f_frsize));
  TRACE(TR_GENERAL, ">> \t f_blocks = %i, f_bfree = %i, f_bavail = %i\n",
        static_cast<int>(st.f_blocks), static_cast<int>(st.f_bfree), static_cast<int>(st.f_bavail));
  TRACE(TR_GENERAL, ">> \t f_files = %i, f_ffree = %i, f_favail = %i\n",
        static_cast<int>(st.f_files), static_cast<int>(st.f_ffree), static_cast<int>(st.f_favail));
  const auto kilobytes = [&st](std::uint64_t blocks) {
    return static_cast<unsigned long long>(blocks * st.f_frsize / 1024);
  };
  TRACE(TR_GENERAL, ">> \t capacity (1K-blocks) = %llu\n", kilobytes(st.f_blocks));
  TRACE(TR_GENERAL, ">> \t free (1K-blocks) = %llu\n", kilobytes(st.f_bavail));
  TRACE(TR_GENERAL, ">> \t used, old method (1K-blocks) = %llu\n",
        kilobytes(st.f_blocks - st.f_bfree));
  TRACE(TR_GENERAL, ">> \t used, new method (1K-blocks) = %llu\n",
        kilobytes(st.f_blocks - st.f_bavail));
}

}  // namespace

bool Mounts::openMnttab() {
  TRACE_METHOD("openMnttab()");
  UniqueFd fd = openRegularFile(m_path);
  m_table.reset(fd ? ::fdopen(fd.get(), "r") : nullptr);
  if (m_table)
    (void)fd.release();
  else {
    issueMessage(msg::STA0094E, {m_path + " - " + errnoText(errno)});
    return false;
  }
  // Programs that mount rewrite the table in place, and lock it meanwhile.
  if (!setLock(m_table.get(), F_RDLCK)) {
    issueMessage(msg::STA0095E, {m_path + " - " + errnoText(errno)});
    m_table.reset();
    return false;
  }
  return true;
}

void Mounts::closeMnttab() {
  if (!setLock(m_table.get(), F_UNLCK))
    TRACE(TR_ERROR, "cannot unlock the mount table: %s", errnoText(errno).c_str());
  m_table.reset();
}

bool Mounts::readEntry() {
  char buffer[ENTRY_BUFFER_SIZE];
  mntent entry{};
  while (::getmntent_r(m_table.get(), &entry, buffer, sizeof buffer) != nullptr) {
    TRACE(TR_GENERAL, ">> Current filesystem = %s, mntPt = %s, and fsType = %s ...\n",
          entry.mnt_fsname, entry.mnt_dir, entry.mnt_type);
    if (isCut(entry, buffer)) {
      TRACE(TR_ERROR, "WARNING: The mount table entry of %s has no mount type or is too long.",
            entry.mnt_dir);
      issueMessage(msg::STA0562W, {entry.mnt_dir});
      continue;
    }
    if (std::binary_search(EXCLUDED_TYPES.begin(), EXCLUDED_TYPES.end(),
                           std::string_view(entry.mnt_type))) {
      // Kept, to tell whoever asks for it why it is not scanned.
      m_excluded[entry.mnt_dir] = entry.mnt_type;
      continue;
    }
    m_current = {withNumberSigns(entry.mnt_fsname), entry.mnt_dir, entry.mnt_type};
    return true;
  }
  if (std::ferror(m_table.get()) != 0)
    issueMessage(msg::STA0563E, {m_path, errnoText(errno)});
  return false;
}

// A fileset's type and source become what the cluster calls them.
bool Mounts::nameFileset() {
  if (!m_current.type.starts_with("stfs") && !m_current.type.starts_with("zenfs"))
    return true;
  // One name for both, as definitions know the type.
  m_current.type = "zenfs";
  m_current.source = getZenfsClusterName(m_current);
  if (!m_current.source.empty())
    return true;
  issueMessage(msg::STA0622E, {m_current.mountPoint});
  return false;
}

bool Mounts::nextMount() {
  TRACE_METHOD("nextMount()");
  if (!m_table)
    return false;
  if (readEntry() && nameFileset())
    return true;
  closeMnttab();
  return false;
}

std::string getZenfsClusterName(const MountEntry& entry) {
  TRACE_METHOD("getZenfsClusterName(...)");
  std::string cluster;
  // A stream gives no reason of its own: the system's last word is looked at.
  errno = 0;
  std::ifstream file(ZENFS_CLUSTER_FILE);
  const bool isRead = static_cast<bool>(std::getline(file, cluster));
  const std::string reason = errno != 0 ? errnoText(errno) : "it names no cluster";
  const std::string name(trimmed(cluster, " \t\r"));
  if (!isRead || name.empty()) {
    issueMessage(msg::STA0620E,
                 {entry.mountPoint, "read " + std::string(ZENFS_CLUSTER_FILE) + ": " + reason});
    return {};
  }
  // Of a source without a "/" that is all of it.
  const std::string device = entry.source.substr(entry.source.rfind('/') + 1);
  return formatText("%s/%s", name.c_str(), device.c_str());
}

int Mounts::statFS(const MountEntry& entry, Filesystem& filesystem, int nfsTimeout,
                   StatThread& statThread) {
  TRACE_METHOD("statFS(...)");
  struct statvfs64 st {};
  if (const int error = askForFigures(entry.mountPoint, nfsTimeout, statThread, st); error != 0) {
    issueMessage(msg::STA0096E, {entry.mountPoint + " - " + errnoText(error)});
    TRACE(TR_ERROR, ">> statvfs() failed for path %s ... logged STA0096E\n",
          entry.mountPoint.c_str());
    return 12;
  }
  setCapacity(st, entry, filesystem);
  // After the capacity, which stands for it where the device tells nothing.
  return GetPhysicalSize(entry, filesystem);
}

void Mounts::setCapacity(const struct statvfs64& st, const MountEntry& entry,
                         Filesystem& filesystem) {
  traceFigures(st);
  // Some network filesystems leave the fragment's size at 0.
  const std::uint64_t fragment = st.f_frsize != 0 ? st.f_frsize : st.f_bsize;
  if (std::find(TYPES_WITHOUT_INODES.begin(), TYPES_WITHOUT_INODES.end(), entry.type) ==
      TYPES_WITHOUT_INODES.end()) {
    filesystem.fsMaxFiles = st.f_files;
    filesystem.fsFreeInodes = static_cast<std::uint32_t>(st.f_favail);
    filesystem.fsUsedInodes =
        static_cast<std::uint32_t>(st.f_files) - static_cast<std::uint32_t>(st.f_ffree);
    // The doubled percent sign is deliberate: readers of traces know the line as it prints so.
    TRACE(TR_GENERAL, ">> \t fsMaxFiles = %%llu, fsFreeInodes = %u, fsUsedInodes = %u\n",
          filesystem.fsFreeInodes, filesystem.fsUsedInodes);
  }
  // Unsigned products wrap where a filesystem reports nonsense; free space below the reserve of a
  // filesystem comes out negative.
  const auto units = [fragment](std::uint64_t blocks) {
    return static_cast<std::int64_t>(blocks * fragment) >> 9;
  };
  filesystem.fsCapacity = units(st.f_blocks);
  filesystem.fsFreeSpace = units(st.f_bavail);
  filesystem.fsUsedSpace = units(st.f_blocks - st.f_bavail);
  filesystem.fsPhysicalSize = filesystem.fsCapacity;
  TRACE(TR_GENERAL, ">> \t fsCapacity = %lld\n", static_cast<long long>(filesystem.fsCapacity));
  TRACE(TR_GENERAL, ">> \t fsFreeSpace = %lld\n", static_cast<long long>(filesystem.fsFreeSpace));
  TRACE(TR_GENERAL, ">> \t fsUsedSpace = %lld\n", static_cast<long long>(filesystem.fsUsedSpace));
  TRACE(TR_GENERAL, ">> \t fsPhysicalSize = %lld\n",
        static_cast<long long>(filesystem.fsPhysicalSize));
}

}  // namespace orv
