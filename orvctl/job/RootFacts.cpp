#include "orvctl/job/RootFacts.h"

#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <string_view>

#include "orvctl/job/ChildAnswer.h"
#include "orvctl/job/TypedInput.h"
#include "orvctl/text/CtlError.h"
#include "orvctl/text/DisplayText.h"
#include "orvctl/text/Utf8.h"
#include "runtime/ut/ScanPaths.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/UniqueFd.h"

namespace orv::ctl {
namespace {

using Clock = std::chrono::steady_clock;

// Counting the upper directories must not keep the scan waiting.
constexpr std::chrono::seconds COUNTING_TIME{3};
// The scan skips a directory directly below the root whose path holds this.
constexpr std::string_view SNAPSHOT = ".snapshot";
constexpr std::size_t MAX_SNAPSHOTS = 20;

// Filesystems on which a directory without directories in it has two links, so that it need not be
// read to be counted.
constexpr std::array<std::string_view, 5> COUNTING_LINKS = {"ext2", "ext3", "ext4", "tmpfs", "xfs"};

// What the path of a root cannot hold if patterns of paths below it are to fit.
constexpr std::string_view NO_PATTERN = "*?[\\&";

[[noreturn]] void cannotScan(const std::string& path, int error) {
  throw CtlError(fmt::format("cannot scan {}: {}", printable(path), errnoText(error)));
}

// Counts the directories of the upper levels of a tree, level after level.
class UpperLevels final {
 public:
  UpperLevels(RootFacts& facts, const MountTable& mounts) : m_facts(facts) {
    for (const MountPoint* mount : mounts.below(facts.path))
      if (mount->mayHang())
        m_notTouched.insert(mount->path);
    for (const std::string_view type : COUNTING_LINKS)
      m_linksCount |= type == facts.type;
  }

  // Enters into the facts how many of `asked` levels can be measured, and why not all.
  void count(int asked) {
    std::vector<std::string> level = {m_facts.path};
    std::size_t all = 0;
    for (int depth = 1; depth <= std::max(asked, 1) && !level.empty(); ++depth) {
      std::vector<std::string> below;
      for (const std::string& directory : level)
        if (!read(directory, depth == 1, below) || all + below.size() > MAX_SUBTREES) {
          m_facts.depth = std::min(depth - 1, asked);
          if (m_facts.depth < asked)
            m_facts.cut = m_late ? fmt::format("level {} could not be counted in time", depth)
                                 : fmt::format("level {} goes beyond 10,000 directories", depth);
          return;
        }
      all += below.size();
      level = std::move(below);
    }
    m_facts.depth = asked;
  }

 private:
  // Adds the directories in `directory`; false when there are too many or time has run out.
  bool read(const std::string& directory, bool isRoot, std::vector<std::string>& below) {
    const int fd = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    struct stat info {};
    if (fd < 0)
      return true;  // the scan will say so
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(::fdopendir(fd), ::closedir);
    if (!stream || ::fstat(fd, &info) != 0 ||
        static_cast<std::int64_t>(info.st_dev) != m_facts.device ||
        (m_linksCount && info.st_nlink == 2))
      return true;
    std::size_t seen = 0;
    while (const dirent* entry = ::readdir(stream.get())) {
      if (++seen % 1024 == 0 && Clock::now() > m_deadline)
        m_late = true;
      if (m_late || below.size() > MAX_SUBTREES)
        return false;
      add(directory, isRoot, fd, *entry, below);
    }
    m_late = Clock::now() > m_deadline;
    return !m_late;
  }

  void add(const std::string& directory, bool isRoot, int fd, const dirent& entry,
           std::vector<std::string>& below) {
    const std::string_view name = entry.d_name;
    struct stat info {};
    if (name == "." || name == ".." || (entry.d_type != DT_DIR && entry.d_type != DT_UNKNOWN))
      return;
    if (entry.d_type == DT_UNKNOWN &&
        (::fstatat(fd, entry.d_name, &info, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISDIR(info.st_mode)))
      return;
    std::string path = withTrailingSlash(directory).append(name);
    if (isRoot && path.find(SNAPSHOT) != std::string::npos) {
      if (m_facts.snapshots.size() < MAX_SNAPSHOTS)
        m_facts.snapshots.push_back(path);
      return;
    }
    if (!m_notTouched.contains(path))
      below.push_back(std::move(path));
  }

  RootFacts& m_facts;
  std::set<std::string> m_notTouched;  // mounts that may never answer
  bool m_linksCount = false;
  bool m_late = false;
  Clock::time_point m_deadline = Clock::now() + COUNTING_TIME;
};

// The directory, absolute and without links, that this user can read. Asked by opening it: what the
// rights of a path say is not all that decides.
std::string readableDirectory(const std::string& typed, struct stat& info) {
  const std::unique_ptr<char, void (*)(void*)> resolved(::realpath(typed.c_str(), nullptr),
                                                        std::free);
  if (!resolved)
    cannotScan(typed, errno);
  const UniqueFd fd(::open(resolved.get(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!fd || ::fstatat(fd.get(), ".", &info, 0) != 0)
    cannotScan(typed, errno);
  return resolved.get();
}

void addFigures(RootFacts& facts) {
  struct statvfs figures {};
  if (::statvfs(facts.path.c_str(), &figures) != 0)
    return;
  const auto bytes = [&figures](fsblkcnt_t blocks) {
    return static_cast<std::int64_t>(blocks * figures.f_frsize);
  };
  facts.capacity = bytes(figures.f_blocks);
  facts.used = bytes(figures.f_blocks - figures.f_bfree);
  facts.free = bytes(figures.f_bavail);
  facts.usedInodes = static_cast<std::int64_t>(figures.f_files - figures.f_ffree);
}

void addMounts(RootFacts& facts, const MountTable& mounts) {
  if (const MountPoint* mount = mounts.of(facts.path)) {
    facts.type = mount->type;
    facts.source = mount->source;
    facts.isMountPoint = mount->path == facts.path && mount->root == "/";
    facts.mayHang = mount->mayHang();
    facts.accessTimesKept = !mount->withoutAccessTimes();
  }
  for (const MountPoint* mount : mounts.below(facts.path)) {
    facts.mounts.push_back(fmt::format("{} ({})", mount->path, mount->type));
    facts.mayHang |= mount->mayHang();  // the scan meets the directory that it is mounted on
  }
}

RootFacts examined(const RootQuestion& question, const MountTable& mounts) {
  RootFacts facts;
  struct stat info {};
  facts.path = readableDirectory(question.typed, info);
  facts.device = static_cast<std::int64_t>(info.st_dev);
  addMounts(facts, mounts);
  addFigures(facts);
  for (const std::string& typed : question.watch) {
    try {
      facts.watch.push_back(watchPath(typed, facts.path));
    } catch (const CtlError&) {
      if (question.watchMustBe)
        throw;
      facts.notWatched.push_back(typed);
    }
  }
  return facts;
}

// How many of the levels that were asked for can be measured, and what the scan skips by its name.
RootFacts withLevels(RootFacts facts, const MountTable& mounts, int asked) {
  UpperLevels(facts, mounts).count(asked);
  if (facts.path.find_first_of(NO_PATTERN) != std::string::npos ||
      (facts.path + "/").find("/%/") != std::string::npos) {
    facts.depth = 0;
    if (asked > 0)
      facts.cut = "no pattern fits a path with one of * ? [ \\ & %";
  }
  return facts;
}

// The fields of the facts by their names in the text.
template <typename Facts, typename Visit>
void eachField(Facts& facts, const Visit& visit) {
  visit("path", facts.path);
  visit("type", facts.type);
  visit("source", facts.source);
  visit("device", facts.device);
  visit("isMountPoint", facts.isMountPoint);
  visit("mayHang", facts.mayHang);
  visit("accessTimesKept", facts.accessTimesKept);
  visit("capacity", facts.capacity);
  visit("used", facts.used);
  visit("free", facts.free);
  visit("usedInodes", facts.usedInodes);
  visit("mounts", facts.mounts);
  visit("snapshots", facts.snapshots);
  visit("depth", facts.depth);
  visit("cut", facts.cut);
  visit("watch", facts.watch);
  visit("notWatched", facts.notWatched);
}

// Paths are bytes, which JSON cannot hold as they are.
struct Writer {
  nlohmann::json& json;

  template <typename Value>
  void operator()(const char* name, const Value& value) const {
    json[name] = value;
  }
  void operator()(const char* name, const std::string& bytes) const {
    json[name] = utf8Text(bytes);
  }
  void operator()(const char* name, const std::vector<std::string>& list) const {
    json[name] = nlohmann::json::array();
    for (const std::string& bytes : list)
      json[name].push_back(utf8Text(bytes));
  }
};

struct Reader {
  const nlohmann::json& json;

  template <typename Value>
  void operator()(const char* name, Value& value) const {
    json.at(name).get_to(value);
  }
  void operator()(const char* name, std::string& bytes) const {
    bytes = bytesOf(json.at(name).get<std::string>());
  }
  void operator()(const char* name, std::vector<std::string>& list) const {
    for (const auto& text : json.at(name))
      list.push_back(bytesOf(text.get<std::string>()));
  }
};

}  // namespace

std::string RootFacts::toJson(const RootFacts& facts) {
  nlohmann::json json;
  eachField(facts, Writer{json});
  return json.dump();
}

RootFacts RootFacts::fromJson(const std::string& text) {
  const auto json = nlohmann::json::parse(text);
  RootFacts facts;
  eachField(facts, Reader{json});
  return facts;
}

RootFacts examineRoot(const RootQuestion& question, const MountTable& mounts,
                      std::chrono::seconds limit) {
  const std::string what = "cannot scan " + printable(question.typed);
  const auto examine = [&] { return RootFacts::toJson(examined(question, mounts)); };
  RootFacts facts = RootFacts::fromJson(answerOfChild(examine, limit, what));
  // A directory below that never answers keeps nobody from scanning the rest.
  for (const int levels : {question.depth, std::min(question.depth, 1)}) {
    const auto count = [&] { return RootFacts::toJson(withLevels(facts, mounts, levels)); };
    try {
      RootFacts counted =
          RootFacts::fromJson(answerOfChild(count, COUNTING_TIME + std::chrono::seconds(1), what));
      if (levels < question.depth && counted.cut.empty())
        counted.cut = fmt::format("level {} could not be counted in time", levels + 1);
      return counted;
    } catch (const CtlError&) {
      // The next try is for the directories of the root alone.
    }
  }
  if (question.depth > 0)
    facts.cut = "level 1 could not be counted in time";
  return facts;
}

}  // namespace orv::ctl
