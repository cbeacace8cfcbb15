#include "runtime/unx/ProgressPage.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>

#include "runtime/ut/UniqueFd.h"

namespace orv {

// The path is guarded by a count that is odd while it changes: the writer never waits.
struct ProgressPage::Layout {
  std::atomic<std::uint64_t> entries;
  std::atomic<std::uint32_t> changes;
  std::atomic<std::uint32_t> length;
  std::array<std::atomic<char>, 4096> path;
};

std::unique_ptr<ProgressPage> ProgressPage::make(const std::string& path) {
  // The page of an earlier scan may still be mapped by its reader: this one gets a file of its own.
  ::unlink(path.c_str());
  const UniqueFd fd(::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!fd || ::ftruncate(fd.get(), sizeof(Layout)) != 0)
    return nullptr;
  return map(fd.get());
}

std::unique_ptr<ProgressPage> ProgressPage::open(const std::string& path) {
  const UniqueFd fd(::open(path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct stat info {};
  if (!fd || ::fstat(fd.get(), &info) != 0)
    return nullptr;
  // Mapped beyond its end, a shorter file would kill the job with the first store.
  if (!S_ISREG(info.st_mode) || info.st_size != sizeof(Layout)) {
    errno = EINVAL;
    return nullptr;
  }
  return map(fd.get());
}

std::unique_ptr<ProgressPage> ProgressPage::map(int fd) {
  static_assert(std::atomic<std::uint64_t>::is_always_lock_free);
  void* memory = ::mmap(nullptr, sizeof(Layout), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (memory == MAP_FAILED)
    return nullptr;
  return std::unique_ptr<ProgressPage>(new ProgressPage(static_cast<Layout*>(memory)));
}

ProgressPage::~ProgressPage() {
  ::munmap(m_layout, sizeof(Layout));
}

void ProgressPage::entryMet() noexcept {
  // One writer: no need for an addition that others could come between.
  m_layout->entries.store(m_layout->entries.load(std::memory_order_relaxed) + 1,
                          std::memory_order_relaxed);
}

void ProgressPage::setEntries(std::uint64_t entries) noexcept {
  m_layout->entries.store(entries, std::memory_order_relaxed);
}

void ProgressPage::directoryEntered(std::string_view path) noexcept {
  path = path.substr(0, m_layout->path.size());
  const std::uint32_t before = m_layout->changes.load(std::memory_order_relaxed);
  m_layout->changes.store(before + 1, std::memory_order_relaxed);
  // Whoever sees a byte of the new path sees the odd count, too.
  std::atomic_thread_fence(std::memory_order_release);
  for (std::size_t i = 0; i < path.size(); ++i)
    m_layout->path[i].store(path[i], std::memory_order_relaxed);
  m_layout->length.store(static_cast<std::uint32_t>(path.size()), std::memory_order_relaxed);
  m_layout->changes.store(before + 2, std::memory_order_release);
}

ProgressPage::State ProgressPage::read() const {
  constexpr int TRIES = 100;
  State state;
  state.entries = m_layout->entries.load(std::memory_order_relaxed);
  for (int i = 0; i < TRIES; ++i) {
    const std::uint32_t before = m_layout->changes.load(std::memory_order_acquire);
    const std::size_t length = std::min<std::size_t>(
        m_layout->length.load(std::memory_order_relaxed), m_layout->path.size());
    state.directory.resize(length);
    for (std::size_t at = 0; at < length; ++at)
      state.directory[at] = m_layout->path[at].load(std::memory_order_relaxed);
    std::atomic_thread_fence(std::memory_order_acquire);
    // After that many tries a path that was cut in the middle is shown: nothing depends on it.
    if (before % 2 == 0 && m_layout->changes.load(std::memory_order_relaxed) == before)
      break;
  }
  return state;
}

}  // namespace orv
