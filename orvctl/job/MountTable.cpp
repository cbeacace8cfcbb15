#include "orvctl/job/MountTable.h"

#include <algorithm>
#include <array>
#include <optional>

#include "orvctl/job/JobRun.h"
#include "orvctl/text/CtlError.h"
#include "runtime/unx/AtomicFile.h"
#include "runtime/ut/Text.h"

namespace orv::ctl {
namespace {

// In byte order for the binary searches.
// clang-format off
constexpr std::array<std::string_view, 32> PSEUDO_TYPES = {
    "autofs",     "binfmt_misc", "bpf",      "cgroup",     "cgroup2",    "configfs",
    "cramfs",     "debugfs",     "devpts",   "devtmpfs",   "efivarfs",   "erofs",
    "fuse.lxcfs", "fuse.portal", "fusectl",  "hugetlbfs",  "iso9660",    "mqueue",
    "nfsd",       "nsfs",        "proc",     "pstore",     "ramfs",      "resctrl",
    "romfs",      "rpc_pipefs",  "securityfs", "selinuxfs", "squashfs",  "swap",
    "sysfs",      "tracefs"};
constexpr std::array<std::string_view, 18> NETWORK_TYPES = {
    "9p",     "acfs",   "afs",  "beegfs", "ceph", "cifs", "coda",  "davfs", "gfs2",
    "glusterfs", "gpfs", "lustre", "ncpfs", "nfs", "nfs4", "ocfs2", "smb3",  "smbfs"};
// Where the system keeps its own tmpfs mounts.
constexpr std::array<std::string_view, 4> SYSTEM_DIRECTORIES = {"/dev", "/proc", "/run", "/sys"};
// clang-format on
static_assert(std::is_sorted(PSEUDO_TYPES.begin(), PSEUDO_TYPES.end()));
static_assert(std::is_sorted(NETWORK_TYPES.begin(), NETWORK_TYPES.end()));

template <std::size_t N>
bool holds(const std::array<std::string_view, N>& sorted, std::string_view name) {
  return std::binary_search(sorted.begin(), sorted.end(), name);
}

// Cuts the next word off the front of a line.
std::string_view takeWord(std::string_view& line) {
  const std::size_t end = std::min(line.find(' '), line.size());
  const std::string_view word = line.substr(0, end);
  line.remove_prefix(std::min(end + 1, line.size()));
  return word;
}

// The kernel writes blanks, tabs, line breaks, "#" and backslashes in octal.
std::string unescaped(std::string_view word) {
  const auto isOctal = [](char digit) { return digit >= '0' && digit <= '7'; };
  std::string text;
  for (std::size_t at = 0; at < word.size(); ++at) {
    if (word[at] == '\\' && at + 3 < word.size() && isOctal(word[at + 1]) &&
        isOctal(word[at + 2]) && isOctal(word[at + 3])) {
      text += static_cast<char>((word[at + 1] - '0') * 64 + (word[at + 2] - '0') * 8 +
                                (word[at + 3] - '0'));
      at += 3;
    } else {
      text += word[at];
    }
  }
  return text;
}

// "36 35 98:0 /mnt1 /mnt2 rw,noatime master:1 - ext3 /dev/root rw,errors=continue": any number of
// optional fields stand before the "-".
std::optional<MountPoint> mountIn(std::string_view line) {
  MountPoint mount;
  mount.id = numberIn<int>(takeWord(line)).value_or(-1);
  mount.parent = numberIn<int>(takeWord(line)).value_or(-1);
  mount.device = takeWord(line);
  mount.root = unescaped(takeWord(line));
  mount.path = unescaped(takeWord(line));
  mount.options = takeWord(line);
  while (!line.empty() && takeWord(line) != "-") {
  }
  mount.type = unescaped(takeWord(line));
  mount.source = unescaped(takeWord(line));
  return mount.id < 0 || mount.type.empty() ? std::nullopt : std::optional(std::move(mount));
}

// Whether all that `b` shows shows at `a`, too. Subvolumes of btrfs are entered by their own mounts
// only.
bool covers(const MountPoint& a, const MountPoint& b) {
  if (a.device != b.device)
    return false;
  if (a.root == b.root)
    return a.path.size() != b.path.size() ? a.path.size() < b.path.size() : a.id < b.id;
  return a.type != "btrfs" && liesIn(b.root, a.root);
}

}  // namespace

bool liesIn(std::string_view path, std::string_view directory) {
  if (directory == "/")
    return path.starts_with('/');
  return path.starts_with(directory) &&
         (path.size() == directory.size() || path[directory.size()] == '/');
}

bool MountPoint::withoutAccessTimes() const {
  return ("," + options + ",").find(",noatime,") != std::string::npos;
}

bool MountPoint::mayHang() const {
  return holds(NETWORK_TYPES, type) || type == "fuse" || type.starts_with("fuse.") ||
         (type != "nfsd" && type.starts_with("nfs"));
}

bool MountPoint::isPseudo() const {
  if (type == "tmpfs")
    return std::ranges::any_of(SYSTEM_DIRECTORIES,
                               [this](std::string_view own) { return liesIn(path, own); });
  return holds(PSEUDO_TYPES, type);
}

MountTable MountTable::read(const std::string& file) {
  const auto text = readWholeFile(file);
  if (!text)
    throw CtlError("cannot read the mounts of this host: " + file + ": " + errnoText(errno));
  return parse(*text);
}

MountTable MountTable::parse(std::string_view text) {
  MountTable table;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    if (auto mount = mountIn(text.substr(0, end)))
      table.m_mounts.push_back(std::move(*mount));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return table;
}

const MountPoint* MountTable::of(std::string_view path) const {
  const MountPoint* found = nullptr;
  for (const MountPoint& mount : m_mounts)
    if (liesIn(path, mount.path) && (found == nullptr || mount.path.size() >= found->path.size()))
      found = &mount;  // of two on one directory the later one covers the other
  return found;
}

// Whether a later mount covers this one: on its own directory, or on one above it that it was not
// made below.
bool MountTable::isHidden(const MountPoint& mount) const {
  return of(mount.path) != &mount ||
         std::ranges::any_of(m_mounts, [&mount](const MountPoint& other) {
           return &other > &mount && other.id != mount.parent && other.path != mount.path &&
                  liesIn(mount.path, other.path);
         });
}

std::vector<const MountPoint*> MountTable::below(std::string_view path) const {
  std::vector<const MountPoint*> found;
  for (const MountPoint& mount : m_mounts)
    if (mount.path != path && liesIn(mount.path, path) && !isHidden(mount))
      found.push_back(&mount);
  std::ranges::sort(found, {}, [](const MountPoint* mount) { return mount->path; });
  return found;
}

std::vector<const MountPoint*> MountTable::filesystems(bool network) const {
  std::vector<const MountPoint*> candidates;
  for (const MountPoint& mount : m_mounts)
    if (!mount.isPseudo() && (!mount.mayHang() || network) && !isHidden(mount))
      candidates.push_back(&mount);
  std::vector<const MountPoint*> found;
  for (const MountPoint* mount : candidates)
    if (std::ranges::none_of(candidates, [mount](const MountPoint* other) {
          return other != mount && covers(*other, *mount);
        }))
      found.push_back(mount);
  std::ranges::sort(found, {}, [](const MountPoint* mount) { return mount->path; });
  return found;
}

}  // namespace orv::ctl
