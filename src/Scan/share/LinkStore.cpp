#include "Scan/share/LinkStore.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <deque>
#include <optional>
#include <queue>

#include "Scan/share/StateFile.h"
#include "runtime/ut/Text.h"

namespace orv::share {
namespace {

// What a name takes in memory besides its bytes.
constexpr std::size_t NODE_BYTES = 80;
// One buffer for each part of the file that is merged, and there may be many of them: of all, and
// of one.
constexpr std::size_t BUFFERS = 1U << 20;
constexpr std::size_t MIN_BUFFER = 512;
constexpr std::size_t MAX_BUFFER = 16'384;

// Before each name in a file.
// In the machine's own byte order: nobody but this process ever reads it.
struct Prefix {
  std::uint64_t inode;
  std::uint32_t length;
};

[[noreturn]] void fail(const char* doing, const std::string& directory) {
  throw StateError(std::string(doing) + " names of linked files in " + directory + ": " +
                   errnoText(errno));
}

}  // namespace

// One sorted source of names: a part of the file, or what is left in memory.
class LinkStore::Run final {
 public:
  Run(int fd, Extent extent, std::size_t bufferSize, const std::string& directory)
      : m_fd(fd), m_extent(extent), m_bufferSize(bufferSize), m_directory(directory) {
    advance();
  }
  Run(const Names& names, const std::string& directory)
      : m_directory(directory), m_names(&names), m_next(names.begin()) {
    advance();
  }

  [[nodiscard]] bool atEnd() const noexcept { return m_atEnd; }
  [[nodiscard]] std::uint64_t inode() const noexcept { return m_inode; }
  [[nodiscard]] const std::string& name() const noexcept { return m_name; }

  void advance() {
    Prefix prefix{};
    if (m_names != nullptr) {
      m_atEnd = m_next == m_names->end();
      if (!m_atEnd)
        std::tie(m_inode, m_name) = *m_next++;
    } else if (!take(reinterpret_cast<char*>(&prefix), sizeof prefix)) {
      m_atEnd = true;
    } else {
      m_inode = prefix.inode;
      m_name.resize(prefix.length);
      // A number without its name: no file was left so.
      if (!take(m_name.data(), m_name.size()))
        fail("read", m_directory);
    }
  }

 private:
  bool take(char* to, std::size_t size) {
    while (size > 0) {
      if (m_used == m_buffer.size() && !refill())
        return false;
      const std::size_t part = std::min(size, m_buffer.size() - m_used);
      std::memcpy(to, m_buffer.data() + m_used, part);
      m_used += part;
      to += part;
      size -= part;
    }
    return true;
  }
  bool refill() {
    m_buffer.resize(
        std::min(m_bufferSize, static_cast<std::size_t>(m_extent.end - m_extent.begin)));
    // By offset: the descriptor stands where the writing ended.
    const ssize_t got = ::pread(m_fd, m_buffer.data(), m_buffer.size(), m_extent.begin);
    if (got < 0)
      fail("read", m_directory);
    m_extent.begin += got;
    m_buffer.resize(static_cast<std::size_t>(got));
    m_used = 0;
    return got > 0;
  }

  int m_fd = -1;
  Extent m_extent{};  // what was not read yet
  std::size_t m_bufferSize = 0;
  const std::string& m_directory;
  const Names* m_names = nullptr;
  Names::const_iterator m_next{};
  std::string m_buffer;
  std::size_t m_used = 0;
  bool m_atEnd = false;
  std::uint64_t m_inode = 0;
  std::string m_name;
};

LinkStore::LinkStore(std::string directory, LinkMemory& memory)
    : m_directory(std::move(directory)), m_memory(memory) {}

LinkStore::~LinkStore() {
  forget();
}

bool LinkStore::isFirst(const FileAttributes& info) {
  const auto [at, isNew] = m_names.try_emplace(info.faInodeNumber);
  if (!isNew)
    return false;
  if (m_names.size() == 1)
    m_memory.filled();
  at->second = packed(info);
  m_bytes += at->second.size() + NODE_BYTES;
  // What was put away is not asked any more: an inode may then be "first" again, and `drain` finds
  // out which name was.
  if (m_bytes >= m_memory.share())
    putAway();
  return true;
}

void LinkStore::openFile() {
  m_file.reset(::open(m_directory.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
  if (m_file)
    return;
  // Network filesystems have no files without a name.
  std::string name = m_directory + "/links.XXXXXX";
  m_file.reset(::mkostemp(name.data(), O_CLOEXEC));
  if (!m_file)
    fail("write", m_directory);
  ::unlink(name.c_str());
}

void LinkStore::putAway() {
  if (!m_file)
    openFile();
  std::string buffer;
  for (const auto& [inode, name] : m_names) {
    const Prefix prefix{inode, static_cast<std::uint32_t>(name.size())};
    char bytes[sizeof prefix] = {};
    std::memcpy(bytes, &prefix, sizeof prefix);
    buffer.append(bytes, sizeof bytes);
    buffer += name;
  }
  if (!writeFully(m_file.get(), buffer))
    fail("write", m_directory);
  const std::int64_t begin = m_extents.empty() ? 0 : m_extents.back().end;
  m_extents.push_back({begin, begin + static_cast<std::int64_t>(buffer.size())});
  forget();
}

void LinkStore::forget() noexcept {
  if (!m_names.empty())
    m_memory.emptied();
  m_names.clear();
  m_bytes = 0;
}

void LinkStore::drain(const Take& first, const Take& later) {
  const std::size_t bufferSize =
      std::clamp(BUFFERS / (m_extents.size() + 1), MIN_BUFFER, MAX_BUFFER);
  std::deque<Run> runs;
  for (const Extent& extent : m_extents)
    runs.emplace_back(m_file.get(), extent, bufferSize, m_directory);
  runs.emplace_back(m_names, m_directory);
  // Of equal inodes the run that was put away first is the first in the walk's order.
  using Next = std::pair<std::uint64_t, std::size_t>;
  std::priority_queue<Next, std::vector<Next>, std::greater<>> next;
  const auto wait = [&](std::size_t number) {
    if (!runs[number].atEnd())
      next.emplace(runs[number].inode(), number);
  };
  for (std::size_t number = 0; number < runs.size(); ++number)
    wait(number);
  for (std::optional<std::uint64_t> last; !next.empty();) {
    const auto [inode, number] = next.top();
    next.pop();
    FileAttributes info = unpacked(runs[number].name());
    (last == inode ? later : first)(info);
    last = inode;
    runs[number].advance();
    wait(number);
  }
  // Its space is free from here on: the file has no name.
  m_file.reset();
  m_extents.clear();
  forget();
}

}  // namespace orv::share
