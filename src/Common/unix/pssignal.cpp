#include "Common/unix/pssignal.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "runtime/thrd/StopFlag.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

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
