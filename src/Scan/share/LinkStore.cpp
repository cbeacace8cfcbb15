#include "Scan/share/LinkStore.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

#include "Scan/share/StateFile.h"
#include "runtime/ut/Text.h"

namespace orv::share {
namespace {

// What a name takes in memory besides its bytes.
constexpr std::size_t NODE_BYTES = 80;
// One for each file that is merged, and there may be many of them: small.
constexpr std::size_t BUFFER = 16'384;

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

// One sorted source of names: a file, read from its beginning, or what is left in memory.
class LinkStore::Run final {
 public:
  Run(int fd, const std::string& directory) : m_fd(fd), m_directory(directory) { advance(); }
  explicit Run(const Names& names, const std::string& directory)
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
    m_buffer.resize(BUFFER);
    // By offset: the descriptor stands where the writing ended.
    const ssize_t got = ::pread(m_fd, m_buffer.data(), m_buffer.size(), m_offset);
    if (got < 0)
      fail("read", m_directory);
    m_offset += got;
    m_buffer.resize(static_cast<std::size_t>(got));
    m_used = 0;
    return got > 0;
  }

  int m_fd = -1;
  const std::string& m_directory;
  const Names* m_names = nullptr;
  Names::const_iterator m_next{};
  std::string m_buffer;
  std::size_t m_used = 0;
  off_t m_offset = 0;
  bool m_atEnd = false;
  std::uint64_t m_inode = 0;
  std::string m_name;
};

LinkStore::LinkStore(std::string directory) : m_directory(std::move(directory)) {}
LinkStore::~LinkStore() = default;

bool LinkStore::isFirst(const FileAttributes& info) {
  const auto [at, isNew] = m_names.try_emplace(info.faInodeNumber);
  if (!isNew)
    return false;
  at->second = packed(info);
  m_bytes += at->second.size() + NODE_BYTES;
  // What was put away is not asked any more: an inode may then be "first" again, and `drain` finds
  // out which name was.
  if (m_bytes >= LIMIT)
    putAway();
  return true;
}

void LinkStore::putAway() {
  UniqueFd file(::open(m_directory.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
  if (!file) {
    // Network filesystems have no files without a name.
    std::string name = m_directory + "/links.XXXXXX";
    file.reset(::mkostemp(name.data(), O_CLOEXEC));
    if (file)
      ::unlink(name.c_str());
  }
  std::string buffer;
  for (const auto& [inode, name] : m_names) {
    const Prefix prefix{inode, static_cast<std::uint32_t>(name.size())};
    char bytes[sizeof prefix] = {};
    std::memcpy(bytes, &prefix, sizeof prefix);
    buffer.append(bytes, sizeof bytes);
    buffer += name;
  }
  if (!file || !writeFully(file.get(), buffer))
    fail("write", m_directory);
  m_files.push_back(std::move(file));
  m_names.clear();
  m_bytes = 0;
}

void LinkStore::drain(const Take& first, const Take& later) {
  std::vector<std::unique_ptr<Run>> runs;
  for (const UniqueFd& file : m_files)
    runs.push_back(std::make_unique<Run>(file.get(), m_directory));
  runs.push_back(std::make_unique<Run>(m_names, m_directory));
  for (;;) {
    // The first of equals: runs stand in the order in which they were put away, which is the
    // walk's.
    const Run* least = nullptr;
    for (const auto& run : runs)
      if (!run->atEnd() && (least == nullptr || run->inode() < least->inode()))
        least = run.get();
    if (least == nullptr)
      break;
    const std::uint64_t inode = least->inode();
    bool isFirst = true;
    for (const auto& run : runs) {
      if (run->atEnd() || run->inode() != inode)
        continue;
      FileAttributes info = unpacked(run->name());
      (isFirst ? first : later)(info);
      isFirst = false;
      run->advance();
    }
  }
  // Their space is free from here on: the files have no names.
  m_files.clear();
  m_names.clear();
  m_bytes = 0;
}

}  // namespace orv::share
