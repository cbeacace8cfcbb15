#include "flow/Oracle.h"

#include <dirent.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <set>

namespace orv::test {
namespace {

int typeOf(mode_t mode) {
  if (S_ISREG(mode))
    return 1;
  if (S_ISLNK(mode))
    return 2;
  if (S_ISDIR(mode))
    return 3;
  if (S_ISFIFO(mode))
    return 4;
  if (S_ISSOCK(mode))
    return 5;
  return S_ISCHR(mode) || S_ISBLK(mode) ? 6 : 0;
}

OracleEntry entryOf(const std::string& path, const struct stat& st) {
  OracleEntry e;
  e.path = path;
  e.type = typeOf(st.st_mode);
  e.size = st.st_size;
  e.blocks = e.type > 3 ? 0 : st.st_blocks;
  e.modified = st.st_mtim.tv_sec;
  e.accessed = std::max<std::int64_t>(st.st_atim.tv_sec, st.st_mtim.tv_sec);
  e.uid = st.st_uid;
  e.gid = st.st_gid;
  e.links = e.type == 3 ? 1 : st.st_nlink;
  e.inode = st.st_ino;
  e.flags = (st.st_mode & 01000 ? 0x100000U : 0) | (st.st_mode & 02000 ? 0x200000U : 0) |
            (st.st_mode & 04000 ? 0x400000U : 0) | (S_ISBLK(st.st_mode) ? 0x40000U : 0) |
            (e.type == 1 && (st.st_mode & 0111) != 0 ? 0x80000U : 0) |
            (::getpwuid(st.st_uid) == nullptr ? 0x20000U : 0);
  return e;
}

// Keeps the `keep` highest keys: a key that equals the lowest is refused, and of equal lowest ones
// the one offered first goes.
template <typename Record>
class Best final {
 public:
  explicit Best(std::size_t keep) : m_keep(keep) {}
  void offer(std::int64_t key, const Record& record) {
    if (m_kept.size() == m_keep) {
      const auto lowest = std::min_element(m_kept.begin(), m_kept.end(), before);
      if (key <= lowest->key)
        return;
      m_kept.erase(lowest);
    }
    m_kept.push_back({key, m_offered++, record});
  }
  // Highest first; of equal keys the one offered last.
  std::vector<Record> ranked() {
    std::sort(m_kept.begin(), m_kept.end(), before);
    std::vector<Record> records;
    for (auto it = m_kept.rbegin(); it != m_kept.rend(); ++it)
      records.push_back(it->record);
    return records;
  }

 private:
  struct Kept {
    std::int64_t key;
    std::size_t offered;
    Record record;
  };
  static bool before(const Kept& a, const Kept& b) {
    return a.key != b.key ? a.key < b.key : a.offered < b.offered;
  }
  std::size_t m_keep;
  std::size_t m_offered = 0;
  std::vector<Kept> m_kept;
};

void addAge(OracleAges& ages, std::int64_t& sum, std::int64_t& count, std::int64_t age,
            std::int64_t size) {
  static const std::int64_t DAYS[] = {1, 7, 30, 60, 90, 180, 270};
  std::size_t bucket = 0;
  if (age < -86400) {
    bucket = 9;
  } else {
    sum += age;
    ++count;
    while (bucket < 7 && age > DAYS[bucket] * 86400)
      ++bucket;
    if (bucket == 7 && age > 31557600)
      bucket = 8;
  }
  ages.sizes[bucket] += size;
  ++ages.counts[bucket];
}

void addOwner(OracleTotals& owner, const OracleEntry& e) {
  owner.total += e.size;
  owner.directories += e.type == 3 ? 1 : 0;
  if (e.type != 1 && e.type != 2)
    return;
  ++owner.files;
  if (e.size > owner.second) {
    owner.second = e.size > owner.largest ? owner.largest : e.size;
    owner.largest = std::max(owner.largest, e.size);
  }
  owner.sizes[Oracle::sizeBucket(e.size)] += e.size;
  ++owner.counts[Oracle::sizeBucket(e.size)];
}

void addToDirectory(OracleTotals& d, const OracleEntry& e) {
  d.files += e.type == 1 || e.type == 2 ? 1 : 0;
  d.directories += e.type == 3 ? 1 : 0;
  d.total += e.size;
  if (e.size > d.second) {
    if (e.size > d.largest) {
      d.second = d.largest;
      if (e.type == 1)
        d.largest = e.size;
    } else if (e.type == 1) {
      d.second = e.size;
    }
  }
  d.sizes[Oracle::sizeBucket(e.size)] += e.size;
  ++d.counts[Oracle::sizeBucket(e.size)];
}

}  // namespace

std::size_t Oracle::sizeBucket(std::int64_t size) {
  const std::int64_t bounds[] = {2, 20, 200, 2048, 20480, 204800, 1024000};
  return static_cast<std::size_t>(std::count_if(std::begin(bounds), std::end(bounds),
                                                [&](std::int64_t b) { return size > b; }));
}

std::string Oracle::extensionOf(const std::string& path) {
  const auto dot = path.find_last_of("./\\ ");
  if (dot == std::string::npos || path[dot] != '.' || dot == 0 || path[dot - 1] == '/' ||
      dot + 1 == path.size() || path.size() - dot - 1 > 6)
    return {};
  return path.substr(dot + 1);
}

Oracle::Oracle(const std::string& root, std::size_t keep, std::int64_t scanStart, Filter admits) {
  Best<OracleEntry> files1(keep), files2(keep), files3(keep), files4(keep);
  Best<OracleTotals> dirs(keep);
  std::set<std::uint64_t> inodes;
  std::map<std::string, Extension> byExtension;
  std::int64_t accessedSum = 0, accessedCount = 0, modifiedSum = 0, modifiedCount = 0;

  const auto isAdmitted = [&](const OracleEntry& e) { return !admits || admits(e); };
  const auto count = [&](const OracleEntry& e) {
    if (!isAdmitted(e))
      return;
    entries.push_back(e);
    if (e.links > 1 && inodes.insert(e.inode).second)
      return;
    files += e.type == 1 || e.type == 2 ? 1 : 0;
    directories += e.type == 3 ? 1 : 0;
    total += e.size;
    sizes[sizeBucket(e.size)] += e.size;
    ++counts[sizeBucket(e.size)];
    addAge(accessed, accessedSum, accessedCount, scanStart - e.accessed, e.size);
    addAge(modified, modifiedSum, modifiedCount, scanStart - e.modified, e.size);
    addOwner(owners[e.uid], e);
    addOwner(groups[e.gid], e);
    if (e.type == 1)
      if (const std::string name = extensionOf(e.path); !name.empty()) {
        auto& extension = byExtension[name];
        extension.name = name;
        ++extension.files;
        extension.total += e.size;
      }
    if (e.type != 1 && e.type != 2)
      return;
    files1.offer(static_cast<std::int32_t>(e.size & 0xFFFFFFFF), e);
    files2.offer(-e.accessed * 1000, e);
    if ((e.flags & 0x20000) == 0)
      return;
    files3.offer(e.size, e);
    files4.offer(-e.accessed * 1000, e);
  };

  const std::function<void(const OracleEntry&)> walk = [&](const OracleEntry& directory) {
    OracleTotals record;
    record.entry = directory;
    DIR* stream = ::opendir(directory.path.c_str());
    while (const dirent* name = ::readdir(stream)) {
      if (std::strcmp(name->d_name, ".") == 0 || std::strcmp(name->d_name, "..") == 0)
        continue;
      const std::string path = directory.path + "/" + name->d_name;
      struct stat st {};
      ::lstat(path.c_str(), &st);
      const OracleEntry e = entryOf(path, st);
      if (isAdmitted(e))
        addToDirectory(record, e);
      count(e);
      if (e.type == 3)
        walk(e);
    }
    ::closedir(stream);
    dirs.offer(record.total, record);
  };

  struct stat st {};
  ::lstat(root.c_str(), &st);
  const OracleEntry top = entryOf(root, st);
  count(top);
  walk(top);

  accessed.average = accessedCount > 0 ? accessedSum / accessedCount : 0;
  modified.average = modifiedCount > 0 ? modifiedSum / modifiedCount : 0;
  largestFiles = files1.ranked();
  leastAccessed = files2.ranked();
  largestOrphans = files3.ranked();
  oldestOrphans = files4.ranked();
  largestDirectories = dirs.ranked();
  Best<Extension> types(keep);
  for (const auto& [name, extension] : byExtension)
    types.offer(extension.total, extension);
  extensions = types.ranked();
}

}  // namespace orv::test
