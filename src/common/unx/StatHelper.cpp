#include "common/unx/StatHelper.h"

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

#include "common/unx/UniqueFd.h"

namespace orv::stathelper {
namespace {

// Opens the directory and has its first entries delivered.
int probeDirectory(const Tap& tap, Result&) {
  UniqueFd fd(::open(tap.path, O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC | tap.flag));
  DIR* stream = fd ? ::fdopendir(fd.get()) : nullptr;
  if (stream == nullptr)
    return -1;
  (void)fd.release();
  errno = 0;
  (void)::readdir64(stream);
  const int error = errno;
  ::closedir(stream);
  errno = error;
  return error == 0 ? 0 : -1;
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
    {0,                        probeDirectory},
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
    if (!writeFully(replies, {reinterpret_cast<const char*>(&reply), sizeof reply}))
      break;
  }
  ::_exit(0);
}

}  // namespace orv::stathelper
