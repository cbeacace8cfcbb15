#include "Scan/unix/ScannerUnix.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/statfs.h>

#include <algorithm>
#include <array>

#include "Scan/unix/DirectoryReaderAhead.h"
#include "Scan/unix/DirectoryReaderUnix.h"
#include "Scan/unix/LaneAhead.h"
#include "Scan/unix/SnapshotDirectory.h"
#include "Scan/unix/ThreadAhead.h"
#include "runtime/nls/MessageLog.h"
#include "runtime/thrd/StopFlag.h"
#include "runtime/unx/virtstat.h"
#include "runtime/ut/ORVException.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

// Entry types by the file-type bits of the mode (mode >> 12).
// clang-format off
constexpr std::array<std::uint8_t, 16> TYPE_OF_MODE = {
    FT_UNKNOWN,   FT_FIFO,    FT_DEVICE,  FT_UNKNOWN,   // -, FIFO, character device, -
    FT_DIRECTORY, FT_UNKNOWN, FT_DEVICE,  FT_UNKNOWN,   // directory, -, block device, -
    FT_REGULAR,   FT_UNKNOWN, FT_SYMLINK, FT_UNKNOWN,   // regular file, -, link, -
    FT_SOCKET,    FT_UNKNOWN, FT_UNKNOWN, FT_UNKNOWN};  // socket, -, -, -
// clang-format on

// The special-permission bits 9 to 11 of a mode become bits 20 to 22 of the flags.
constexpr int SPECIAL_PERMISSION_SHIFT = 11;
static_assert(S_ISVTX << SPECIAL_PERMISSION_SHIFT == FA_STICKY);
static_assert(S_ISGID << SPECIAL_PERMISSION_SHIFT == FA_SETGID);
static_assert(S_ISUID << SPECIAL_PERMISSION_SHIFT == FA_SETUID);

constexpr long JFS_MAGIC = 0x3153464a;

// Disk filesystems whose inodes lie on disk in inode order.
constexpr std::array<long, 5> LOCAL_DISK_MAGICS = {
    EXT4_SUPER_MAGIC, XFS_SUPER_MAGIC, BTRFS_SUPER_MAGIC, REISERFS_SUPER_MAGIC, JFS_MAGIC};

std::uint32_t attributesOf(std::uint32_t mode, std::uint8_t type) noexcept {
  std::uint32_t attributes = (mode & (S_ISUID | S_ISGID | S_ISVTX)) << SPECIAL_PERMISSION_SHIFT;
  if (S_ISBLK(mode))
    attributes |= FA_BLOCK_DEVICE;
  if (type == FT_REGULAR && (mode & (S_IXUSR | S_IXGRP | S_IXOTH)) != 0)
    attributes |= FA_EXECUTABLE;
  return attributes;
}

}  // namespace

bool LocalPath::retrieve(std::string_view path, std::string& local, std::size_t& available) const {
  TRACE_METHOD("RetrieveLocalPath(...)");
  const std::size_t trueLength = serverRoot.size();
  const std::size_t length = path.size() > trueLength ? path.size() - trueLength : 0;
  const std::size_t needed = length + localRoot.size();
  const bool longEnough = needed <= available;
  TRACE(TR_GENERAL, "Current thing: localPath = %s, localLength = %zu, trueLength = %zu",
        localRoot.c_str(), localRoot.size(), trueLength);
  TRACE(TR_GENERAL, "length = %zu, needed = %zu, available = %zu, longEnough = %d", length, needed,
        available, longEnough ? 1 : 0);
  const std::string_view rest = path.substr(path.size() - length);
  local = localRoot;
  if (longEnough) {
    local += rest;
    available = needed;
    // A server's root that is this machine's root directory, too.
    if (local.empty())
      local = "/";
    TRACE(TR_GENERAL, "Got output (local path) = %s", local.c_str());
  } else {
    if (available > localRoot.size())
      local += rest.substr(0, available - localRoot.size() - 1);
    TRACE(TR_MAX, "path is too long ... throwing Exception with STA0139W for %.*s",
          static_cast<int>(path.size()), path.data());
  }
  TRACE(TR_EXIT, "Exit: %s; rc: %d\n", "RetrieveLocalPath(...)", longEnough ? 1 : 0);
  return longEnough;
}

std::unique_ptr<DirectoryReader> DirectoryReaderFactory::createDirectoryReader(
    ScannerUnix* pScanner, int fsType) {
  if (pScanner == nullptr) {
    TRACE(TR_MAX,
          "DirectoryReaderFactory::createDirectoryReader() : ERROR: The given Scanner reference "
          "<pScanner> is NULL. Leaving method.");
    return nullptr;
  }
  std::unique_ptr<DirectoryReader> reader;
  if (ReadAhead* ahead = pScanner->readAhead())
    reader = std::make_unique<DirectoryReaderAhead>(*pScanner, *ahead);
  else
    reader = std::make_unique<DirectoryReaderUnix>(*pScanner);
  reader->init(pScanner, fsType);
  return reader;
}

ScannerUnix::ScannerUnix(Filesystem& filesystem, std::vector<SelectedAction> actions,
                         UserTable& users, FileTypeTable& fileTypes, WalkOptions options)
    : Scanner(filesystem, std::move(actions), users, fileTypes), m_options(std::move(options)) {
  TRACE_METHOD("ScannerUnix(...)");
  if (Filesystem::isZENFSFileset(filesystem.fsType))
    TRACE(TR_MAX, "filesystem->isZENFSFileset(filesystem->fsType) == TRUE");
  if (m_options.root && m_options.root->isOverlay)
    m_membership = Membership::BY_MOUNT;
  if (!m_options.localRoot.empty())
    setLocalPath(filesystem.fsMountPoint, m_options.localRoot);
  if (hasTimeout())
    m_readAhead = std::make_unique<LaneAhead>(m_options.helpers, m_options.statTimeout,
                                              lane::Root{{}, filesystem.fsType, m_membership, {}},
                                              m_options.statThread->leftBehind());
  else if (m_options.helpers > 1 && m_localPath)
    TRACE(TR_GENERAL, "no read-ahead: entries are examined by their path");
  else if (m_options.helpers > 1)
    m_readAhead = std::make_unique<ThreadAhead>(
        m_options.helpers, m_membership, [this](int parent, const char* name, bool noFollow) {
          return openDirectory(parent, name, noFollow);
        });
}

ScannerUnix::~ScannerUnix() {
  // The readers of a walk that was given up hold what the helpers may still be working at.
  if (m_readAhead)
    m_readAhead->stop();
  closeReaders();
}

void ScannerUnix::setLocalPath(const std::string& serverRoot, const std::string& localRoot) {
  const auto withoutSlash = [](std::string path) {
    while (path.size() > 1 && path.back() == '/')
      path.pop_back();
    return path == "/" ? std::string() : path;
  };
  m_localPath = std::make_unique<LocalPath>();
  m_localPath->serverRoot = withoutSlash(serverRoot);
  m_localPath->localRoot = withoutSlash(localRoot);
}

void ScannerUnix::checkRoot(int directory) {
  if (!m_options.root)
    return;
  const std::string& mountPoint = filesystem().fsMountPoint;
  // The local root has no "/" at its end: it is empty where it is this machine's root directory.
  const std::string path = m_localPath ? m_localPath->localRoot + "/" : mountPoint;
  MountRoot root;
  const int error = directory < 0
                        ? examineMountRoot(path, m_options.statTimeout, m_options.statThread, root)
                        : examineMountRoot(directory, root);
  if (error == EINTR)
    throwIfStopped();
  // The walk has helpers of its own.
  if (hasTimeout())
    m_options.statThread->cleanUp();
  if (error != 0)
    throw new GenericException(msg::STA0529E,
                               {mountPoint, "examine its root: " + errnoText(error)});
  // Hours may lie between the matching and the walk; another tree must not pass for this one.
  if (root != *m_options.root)
    throw new GenericException(
        msg::STA0529E,
        {mountPoint, "it was unmounted, or another one was mounted over it, since the job began"});
}

// One component after the other, so that no link of a tree that changed meanwhile leads elsewhere,
// and however long the path is.
int ScannerUnix::openAbovePart(const std::string& path, int& directory) {
  // Other processes would have to do it, and a filer's names lead nowhere here.
  if (hasTimeout() || m_localPath)
    return ENOTSUP;
  constexpr int FLAGS = O_PATH | O_DIRECTORY | O_CLOEXEC;
  const std::string& rootPath = state().rules.rootPath;
  UniqueFd open(::open(rootPath.c_str(), FLAGS));
  checkRoot(open.get());
  EntryStat root;
  if (const int error = examineEntry(open.get(), "", m_membership, root); error != 0)
    return error;
  state().rules.device = root.device;
  std::size_t begin = rootPath.size() + (rootPath.ends_with('/') ? 0 : 1);
  for (std::size_t end = 0; (end = path.find('/', begin)) != std::string::npos; begin = end + 1) {
    const std::string name = path.substr(begin, end - begin);
    open.reset(::openat(open.get(), name.c_str(), FLAGS | O_NOFOLLOW));
    if (!open)
      return errno;
  }
  m_abovePart = std::move(open);
  directory = m_abovePart.get();
  return 0;
}

bool ScannerUnix::toLocalPath(const std::string& path, std::string& local, std::size_t available) {
  const bool isWhole = m_localPath->retrieve(path, local, available);
  if (!isWhole)
    noteLeftOut();
  return isWhole;
}

bool ScannerUnix::pathToOpen(const std::string& path, std::string& local) {
  std::size_t length = 0;
  return m_localPath ? toLocalPath(path, local, MAX_OPEN_PATH)
                     : ScannerInitOpen(path, local, &length);
}

bool ScannerUnix::pathToExamine(const std::string& path, FileRecord& file) {
  if (!m_localPath) {
    ScannerInitStat(path, &file);
    return true;
  }
  const std::size_t available =
      MAX_STAT_PATH + 1 - std::min(m_localPath->serverRoot.size(), MAX_STAT_PATH + 1);
  if (!toLocalPath(path, file.path, available))
    return false;
  file.useOwnPath();
  return true;
}

int ScannerUnix::ask(int operation, const char* path, int flag, void* buffer) {
  int error = 0;
  (void)m_options.statThread->zplNFSsyscalls(path, flag, buffer, operation, m_options.statTimeout,
                                             error);
  if (error == EINTR)
    throwIfStopped();
  noteAnswer(error);
  return error;
}

void ScannerUnix::checkFilesystem() {
  // Asked for every entry: what is thrown is put together elsewhere.
  if (m_timeoutsInRow >= MAX_TIMEOUTS || (m_readAhead && !m_readAhead->failure().empty()))
    giveUpFilesystem();
}

void ScannerUnix::giveUpFilesystem() const {
  const std::string why = m_readAhead && !m_readAhead->failure().empty()
                              ? m_readAhead->failure()
                              : formatText("%d calls in a row took longer than %d seconds",
                                           m_timeoutsInRow, m_options.statTimeout);
  throw new GenericException(msg::STA0530E, {filesystem().fsMountPoint, why});
}

int ScannerUnix::examine(FileRecord& file) {
  // Below an open directory there is no limit; paths that are reported have one.
  if (file.pathIsCut)
    return ENAMETOOLONG;
  if (file.examined)
    return file.error;
  if (!hasTimeout())
    return examineEntry(file.directory, file.name, m_membership, file.st);
  struct stat st;
  const int error = ask(VS_LSTAT, file.name, 0, &st);
  if (error == 0)
    file.st.assign(st);
  return error;
}

bool ScannerUnix::Stat(FileRecord& file) {
  file.error = examine(file);
  if (file.error != 0) {
    noteFailure(file.error);
    const std::string_view path(state().info->faName);
    issueMessage(msg::STA0063E, {path.substr(0, MAX_STAT_PATH), errnoText(file.error)});
    return false;
  }
  EntryStat& st = file.st;
  file.type = TYPE_OF_MODE[(st.mode >> 12) & 15U];
  // Its links are the names that its subdirectories have for it: no file with several names.
  if (file.type == FT_DIRECTORY)
    st.linkCount = 1;
  file.attributes = attributesOf(st.mode, file.type);
  // Mounts without access times leave them behind: a file that was just written is not an old one.
  st.accessed = std::max(st.accessed, st.modified);
  return true;
}

int ScannerUnix::openDirectory(int parent, const char* name, bool noFollow) noexcept {
  const int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK | (noFollow ? O_NOFOLLOW : 0);
  // Reading a directory marks it accessed: a scan that may avoid that does, or its next run would
  // find every directory freshly used.
  // Only owners and the privileged may ask for it. One refusal decides for the whole walk: a second
  // call for every directory would cost more than it spares.
  if (m_mayKeepAccessTime.load(std::memory_order_relaxed)) {
    const int fd = ::openat(parent, name, flags | O_NOATIME);
    if (fd >= 0 || errno != EPERM)
      return fd;
    m_mayKeepAccessTime.store(false, std::memory_order_relaxed);
  }
  return ::openat(parent, name, flags);
}

bool ScannerUnix::isOnLocalDisk() {
  if (!m_onLocalDisk) {
    struct statfs st {};
    m_onLocalDisk = ::statfs(filesystem().fsMountPoint.c_str(), &st) == 0 &&
                    std::find(LOCAL_DISK_MAGICS.begin(), LOCAL_DISK_MAGICS.end(), st.f_type) !=
                        LOCAL_DISK_MAGICS.end();
  }
  return *m_onLocalDisk;
}

std::shared_ptr<DirectoryWindow> ScannerUnix::lendWindow() {
  if (m_localPath || !m_lentWindow.expired() || !isOnLocalDisk())
    return nullptr;
  // Shared with the reader; the next one is lent when that lets go of it.
  auto window = std::make_shared<DirectoryWindow>();
  m_lentWindow = window;
  return window;
}

AheadRules ScannerUnix::aheadRules(int fsType) {
  AheadRules rules;
  rules.entries = &state().rules;
  rules.membership = m_membership;
  rules.fsType = fsType;
  // Not to be asked of a filesystem that may not answer; such disks don't lie in this machine.
  rules.isOnLocalDisk = !hasTimeout() && isOnLocalDisk();
  return rules;
}

std::unique_ptr<DirectoryReader> ScannerUnix::makeReader(int argument) {
  return DirectoryReaderFactory::createDirectoryReader(this, argument);
}

std::string ScannerUnix::snapshotDirectory() {
  return filesystem().fsType == Filesystem::TYPE_KLFS
             ? getSnapshotDirKLFS(filesystem().fsMountPoint)
             : std::string();
}

}  // namespace orv
