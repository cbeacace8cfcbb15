#include "Common/unix/Filelock.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>

#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

bool lockedElsewhere(int error) noexcept {
  return error == EAGAIN || error == EACCES;
}

}  // namespace

int Filelock::lockFile() {
  TRACE_METHOD("Filelock::lockFile()");
  if (m_name.empty()) {
    TRACE(TR_ERROR, "Invalid file name");
    return INVALID_NAME;
  }
  // Opening the file once more and closing that again would release the lock.
  if (m_fd)
    return LOCKED;
  UniqueFd fd(::open(m_name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW, 0700));
  if (!fd) {
    TRACE(TR_ERROR, "Unable to lock: %s, %s", m_name.c_str(), errnoText(errno).c_str());
    return NOT_OPENED;
  }
  TRACE(TR_MAX, "locking file: %s", m_name.c_str());
  // Of the process, not of the descriptor: it ends with the job however that ends, so no lock is
  // ever stale.
  if (::lockf(fd.get(), F_TLOCK, 0) != 0) {
    if (lockedElsewhere(errno)) {
      TRACE(TR_MAX, "file already locked");
      return LOCKED_BY_ANOTHER;
    }
    TRACE(TR_ERROR, "Unable to lock file");
    return NOT_LOCKED;
  }
  m_fd = std::move(fd);
  TRACE(TR_MAX, "locked file: %s", m_name.c_str());
  return LOCKED;
}

void Filelock::unlockFile() {
  if (!m_fd)
    return;
  TRACE_METHOD("Filelock::unlockFile()");
  m_fd.reset();
}

bool Filelock::writeProcessId() {
  const std::string text = formatText("%d", ::getpid());
  return m_fd && ::ftruncate(m_fd.get(), 0) == 0 &&
         ::pwrite(m_fd.get(), text.data(), text.size(), 0) == static_cast<ssize_t>(text.size());
}

std::optional<int> Filelock::readProcessId() const {
  // Through the own descriptor where there is one: closing another would release the lock.
  const UniqueFd opened(m_fd ? -1 : ::open(m_name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  char text[16];
  const ssize_t length = ::pread(m_fd ? m_fd.get() : opened.get(), text, sizeof text, 0);
  int pid = 0;
  if (length <= 0 || std::from_chars(text, text + length, pid).ec != std::errc())
    return std::nullopt;
  return pid;
}

bool Filelock::isLocked() const {
  if (m_fd)
    return true;
  const UniqueFd fd(::open(m_name.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK));
  return fd && ::lockf(fd.get(), F_TEST, 0) != 0 && lockedElsewhere(errno);
}

}  // namespace orv
