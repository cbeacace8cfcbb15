#pragma once

#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <utility>

namespace orv {

// Sole owner of a file descriptor; closes it. Not for sharing between threads.
class UniqueFd final {
 public:
  UniqueFd() noexcept = default;
  explicit UniqueFd(int fd) noexcept : m_fd(fd) {}
  UniqueFd(UniqueFd&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    if (this != &other)
      reset(std::exchange(other.m_fd, -1));
    return *this;
  }
  ~UniqueFd() { reset(); }

  [[nodiscard]] explicit operator bool() const noexcept { return m_fd >= 0; }
  [[nodiscard]] int get() const noexcept { return m_fd; }
  [[nodiscard]] int release() noexcept { return std::exchange(m_fd, -1); }

  // Closes what is held and takes `fd`; errno is left as it was.
  void reset(int fd = -1) noexcept {
    if (m_fd >= 0) {
      const int saved = errno;
      ::close(m_fd);
      errno = saved;
    }
    m_fd = fd;
  }

 private:
  int m_fd = -1;
};

// Writes all of `data`, going on after partial writes and EINTR. False with errno on failure.
[[nodiscard]] inline bool writeFully(int fd, std::string_view data) noexcept {
  while (!data.empty()) {
    const ssize_t written = ::write(fd, data.data(), data.size());
    if (written < 0 && errno == EINTR)
      continue;
    if (written < 0)
      return false;
    data.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

}  // namespace orv
