#include "runtime/unx/HelperProcess.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <climits>
#include <csignal>

namespace orv {
namespace {

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

// A pipe whose `ownEnd` (0 to read, 1 to write) never blocks.
bool makePipe(UniqueFd (&ends)[2], int ownEnd) noexcept {
  int fds[2];
  if (::pipe2(fds, O_CLOEXEC) != 0)
    return false;
  ends[0].reset(fds[0]);
  ends[1].reset(fds[1]);
  // The job looks at the stop flag and the clock between its reads; a helper has nothing else to do
  // than to wait.
  return ::fcntl(fds[ownEnd], F_SETFL, O_NONBLOCK) == 0;
}

[[noreturn]] void live(const HelperProcess::Life& life, int requests, int replies, pid_t parent) {
  // Before anything else, so that a kill or the parent's end is never held up by a handler.
  setDefaultSignals();
  // A job that is killed leaves no helper behind, unless that sleeps in the kernel.
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  // The parent may have ended before the line above took effect.
  if (::getppid() != parent)
    ::_exit(1);
  ::prctl(PR_SET_NAME, "scan-stat");
  closeAllBut(requests, replies);
  // The working directory may lie on a mount that somebody wants to unmount.
  if (::chdir("/") != 0)
    ::_exit(1);
  life(requests, replies);
  ::_exit(0);
}

}  // namespace

std::size_t LeftBehind::count() noexcept {
  std::erase_if(m_helpers, [](pid_t helper) { return ::waitpid(helper, nullptr, WNOHANG) != 0; });
  return m_helpers.size();
}

bool HelperProcess::start(const Life& life) {
  // The end of each must find room.
  m_leftBehind.m_helpers.reserve(m_leftBehind.count() + m_leftBehind.m_running + 1);
  UniqueFd requests[2];
  UniqueFd replies[2];
  if (!makePipe(requests, 1) || !makePipe(replies, 0))
    return false;
  const pid_t parent = ::getpid();
  const pid_t process = ::fork();
  if (process == 0)
    live(life, requests[0].get(), replies[1].get(), parent);
  if (process < 0)
    return false;
  m_process = process;
  ++m_leftBehind.m_running;
  m_requests = std::move(requests[1]);
  m_replies = std::move(replies[0]);
  return true;
}

void HelperProcess::end() noexcept {
  m_requests.reset();
  m_replies.reset();
  if (m_process <= 0)
    return;
  ::kill(m_process, SIGKILL);
  // There is room, see `start`: an end must not fail for want of memory.
  m_leftBehind.m_helpers.push_back(m_process);
  m_process = -1;
  --m_leftBehind.m_running;
  (void)m_leftBehind.count();
}

}  // namespace orv
