#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace orv {

// A queue of bytes in memory that two processes share: one writes, the other reads, and neither
// ever waits here. What was put is seen only once it is published, so a writer that is killed
// leaves whole records. `SIZE` is a power of two.
template <std::size_t SIZE>
class SharedRing final {
 public:
  static_assert((SIZE & (SIZE - 1)) == 0 && std::atomic<std::uint64_t>::is_always_lock_free);

  // For the writer. No more may be put than there is room for.
  [[nodiscard]] std::size_t room() const noexcept { return SIZE - (m_put - m_read.load()); }
  void put(const void* data, std::size_t size) noexcept {
    const std::size_t at = m_put % SIZE;
    const std::size_t first = std::min(size, SIZE - at);
    std::memcpy(m_bytes + at, data, first);
    std::memcpy(m_bytes, static_cast<const char*>(data) + first, size - first);
    m_put += size;
  }
  void publish() noexcept { m_written.store(m_put); }

  // For the reader. No more may be taken than there is; its room is the writer's at `release`.
  [[nodiscard]] std::size_t available() const noexcept { return m_written.load() - m_taken; }
  void take(void* data, std::size_t size) noexcept {
    const std::size_t at = m_taken % SIZE;
    const std::size_t first = std::min(size, SIZE - at);
    std::memcpy(data, m_bytes + at, first);
    std::memcpy(static_cast<char*>(data) + first, m_bytes, size - first);
    m_taken += size;
  }
  void release() noexcept { m_read.store(m_taken); }

 private:
  // A line of the cache each for the writer's and the reader's.
  alignas(64) std::uint64_t m_put = 0;
  std::atomic<std::uint64_t> m_written{0};
  alignas(64) std::uint64_t m_taken = 0;
  std::atomic<std::uint64_t> m_read{0};
  alignas(64) char m_bytes[SIZE];
};

}  // namespace orv
