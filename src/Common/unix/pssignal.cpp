#include "Common/unix/pssignal.h"

#include <execinfo.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "runtime/thrd/StopFlag.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

constexpr mode_t JOB_UMASK = 027;

// 200 levels of the walk, the directories read ahead of it, and what else the job holds.
constexpr rlim_t WANTED_DESCRIPTORS = 1024;

bool isOpen(int fd) noexcept {
  return ::fcntl(fd, F_GETFD) >= 0;
}

void raiseDescriptorLimit() noexcept {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= WANTED_DESCRIPTORS)
    return;
  limit.rlim_cur = std::min(limit.rlim_max, WANTED_DESCRIPTORS);
  // Refused, the walk says which directories it could not open.
  (void)::setrlimit(RLIMIT_NOFILE, &limit);
}

struct Disposition {
  int signal;
  void (*handler)(int);
  bool keepIgnored;  // leave the signal ignored when the starter had it so
};

// clang-format off
const Disposition DISPOSITIONS[] = {
    {SIGTERM, unxInterruptHandler, false},
    {SIGINT,  unxInterruptHandler, true},
    {SIGPIPE, SIG_IGN,             false},
    {SIGHUP,  SIG_IGN,             false},
    {SIGXFSZ, SIG_IGN,             false},
    {SIGCHLD, SIG_DFL,             false},
};
// clang-format on

void install(const Disposition& row) {
  struct sigaction old {};
  if (row.keepIgnored && ::sigaction(row.signal, nullptr, &old) == 0 && old.sa_handler == SIG_IGN)
    return;
  struct sigaction action {};
  action.sa_handler = row.handler;
  action.sa_flags = SA_RESTART;
  ::sigemptyset(&action.sa_mask);
  if (::sigaction(row.signal, &action, nullptr) != 0)
    TRACE(TR_ERROR, "set the handling of signal %d: %s", row.signal, errnoText(errno).c_str());
}

}  // namespace

void setUpProcess() noexcept {
  ::umask(JOB_UMASK);
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd)
    // The lowest free number is the one that is missing.
    if (!isOpen(fd))
      (void)::open("/dev/null", O_RDWR);
  raiseDescriptorLimit();
  // The C library loads what it unwinds with when that is first needed, and aborts without the
  // memory for it: an exception of want of memory that passes through it would end the job.
  void* frame = nullptr;
  (void)::backtrace(&frame, 1);
}

int takeAgentDescriptors(int agentEnd, int ownEnd) noexcept {
  if (agentEnd > STDERR_FILENO)
    ::close(agentEnd);
  else if (agentEnd > STDIN_FILENO && ::close(agentEnd) == 0)
    (void)::open("/dev/null", O_WRONLY);
  if (ownEnd <= 0 || !isOpen(ownEnd))
    return -1;
  if (ownEnd > STDERR_FILENO)
    (void)::fcntl(ownEnd, F_SETFD, FD_CLOEXEC);
  return ownEnd;
}

void unxInterruptHandler(int signal) {
  if (signal != SIGINT && signal != SIGTERM)
    return;
  caughtSignal.store(signal, std::memory_order_relaxed);
  agentStop.store(true, std::memory_order_relaxed);
}

void installSignalHandlers() {
  TRACE_METHOD("installSignalHandlers()");
  sigset_t ours;
  ::sigemptyset(&ours);
  for (const Disposition& row : DISPOSITIONS) {
    install(row);
    ::sigaddset(&ours, row.signal);
  }
  ::pthread_sigmask(SIG_UNBLOCK, &ours, nullptr);
  // A session leader leads its group already and is refused: nothing is missing then.
  if (::setpgid(0, 0) != 0 && ::getpgrp() != ::getpid())
    TRACE(TR_ERROR, "make process group %d: %s", ::getpid(), errnoText(errno).c_str());
}

}  // namespace orv
