#include "runtime/unx/StatHelper.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <iterator>

#include "runtime/unx/virtstat.h"
#include "runtime/ut/UniqueFd.h"

namespace orv::stathelper {
namespace {

// Room that any entry fits into.
constexpr std::size_t LARGEST_ENTRY = sizeof(dirent64);

// The entries read last. They follow the reply to the call.
DirectoryBlock block;

int openDirectory(const Tap& tap) noexcept {
  const int flags = O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC | tap.flag;
  const int fd = ::open(tap.path, flags);
  return fd < 0 && errno == EPERM ? ::open(tap.path, flags & ~O_NOATIME) : fd;
}

// Reads on in an open directory. Entries that were read before a failure are delivered; the next
// stretch then begins with the failure.
int readEntries(int fd) noexcept {
  while (!block.isAtEnd && block.size + LARGEST_ENTRY <= DirectoryBlock::CAPACITY) {
    const ssize_t got =
        ::getdents64(fd, block.entries + block.size, DirectoryBlock::CAPACITY - block.size);
    if (got < 0)
      return block.size > 0 ? 0 : -1;
    block.isAtEnd = got == 0;
    const std::uint32_t end = block.size + static_cast<std::uint32_t>(got);
    while (block.size < end) {
      const auto* entry = reinterpret_cast<const dirent64*>(block.entries + block.size);
      block.position = entry->d_off;
      block.size += entry->d_reclen;
    }
  }
  return 0;
}

int readDirectory(const Tap& tap, Result& result) {
  const UniqueFd fd(openDirectory(tap));
  if (!fd || (tap.position != 0 && ::lseek64(fd.get(), tap.position, SEEK_SET) < 0))
    return -1;
  block.position = tap.position;
  block.size = 0;
  block.isAtEnd = false;
  if (readEntries(fd.get()) != 0)
    return -1;
  result.stretch = {block.position, block.size, block.isAtEnd};
  return 0;
}

// The operations, by number.
struct Operation {
  std::size_t size;
  int (*perform)(const Tap& tap, Result& result);
};
// clang-format off
constexpr Operation OPERATIONS[] = {
    {sizeof(struct statfs64),  [](const Tap& t, Result& r) { return ::statfs64(t.path, &r.statfs); }},
    {sizeof(struct statvfs64), [](const Tap& t, Result& r) { return ::statvfs64(t.path, &r.statvfs); }},
    {sizeof(struct stat),      [](const Tap& t, Result& r) { return ::stat(t.path, &r.stat); }},
    {sizeof(struct stat),      [](const Tap& t, Result& r) { return ::lstat(t.path, &r.stat); }},
    {sizeof(Stretch),          readDirectory},
};
// clang-format on

// Closes the descriptors `first` to `last`, also where the kernel cannot do it in one call.
void closeRange(unsigned first, unsigned last) noexcept {
  if (first > last || ::close_range(first, last, 0) == 0)
    return;
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur > INT_MAX)
    limit.rlim_cur = INT_MAX;
  for (unsigned fd = first; fd <= last && fd < limit.rlim_cur; ++fd)
    ::close(static_cast<int>(fd));
}

void closeAllBut(int one, int other) noexcept {
  const auto low = static_cast<unsigned>(std::min(one, other));
  const auto high = static_cast<unsigned>(std::max(one, other));
  if (low > 0)
    closeRange(0, low - 1);
  closeRange(low + 1, high - 1);
  closeRange(high + 1, UINT_MAX);
}

void setDefaultSignals() noexcept {
  for (int number = 1; number < NSIG; ++number)
    ::signal(number, SIG_DFL);
  sigset_t none;
  ::sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

// Reads `size` bytes. False at the end of the requests.
bool readFully(int fd, void* to, std::size_t size) noexcept {
  auto* at = static_cast<char*>(to);
  while (size > 0) {
    const ssize_t got = ::read(fd, at, size);
    if (got < 0 && errno == EINTR)
      continue;
    if (got <= 0)
      return false;
    at += got;
    size -= static_cast<std::size_t>(got);
  }
  return true;
}

bool readTap(int fd, Tap& tap) noexcept {
  if (!readFully(fd, &tap, offsetof(Tap, path)) || tap.pathLength > MAX_PATH_LENGTH ||
      !readFully(fd, tap.path, tap.pathLength))
    return false;
  tap.path[tap.pathLength] = '\0';
  return true;
}

}  // namespace

ssize_t resultSize(int operation) noexcept {
  if (operation < 0 || static_cast<std::size_t>(operation) >= std::size(OPERATIONS))
    return -1;
  return static_cast<ssize_t>(OPERATIONS[operation].size);
}

void serve(int requests, int replies, pid_t parent) noexcept {
  // Before anything else, so that a kill or the parent's end is never held up by a handler.
  setDefaultSignals();
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (::getppid() != parent)
    ::_exit(1);
  ::prctl(PR_SET_NAME, "scan-stat");
  closeAllBut(requests, replies);
  // The working directory may lie on a mount that somebody wants to unmount.
  if (::chdir("/") != 0)
    ::_exit(1);
  static Tap tap;
  while (readTap(requests, tap)) {
    Reply reply;
    std::memset(&reply, 0, sizeof reply);
    reply.number = tap.number;
    reply.error = OPERATIONS[tap.operation].perform(tap, reply.result) == 0 ? 0 : errno;
    const bool hasEntries = tap.operation == VS_READDIR && reply.error == 0;
    if (!writeFully(replies, {reinterpret_cast<const char*>(&reply), sizeof reply}) ||
        !writeFully(replies, {block.entries, hasEntries ? block.size : 0}))
      break;
  }
  ::_exit(0);
}

}  // namespace orv::stathelper
