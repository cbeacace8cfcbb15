#pragma once

#include <csignal>

namespace orv {

// What the job makes of the process that it was started in, whatever its starter left it with.

// clang-format off
// Called once, before anything is opened:
//
// - files are made 0640 and directories 0750 (umask 027), for results name files of directories that
//   not everybody may read;
// - descriptors 0 to 2 are open, so that no file of the job ever takes the place of standard output;
// - as many descriptors may be open as the walk of a deep tree needs, where the hard limit allows;
// - an exception needs no memory to pass through the C library.
// clang-format on
void setUpProcess() noexcept;

// The descriptors that the agent handed down, as its command line names them: closes the agent's
// own end, unless that is 0, and returns the job's end, which no child inherits from now on. -1
// when that is 0 or not open: what is opened later under its number is not the agent's. Called
// before the job opens anything that it keeps.
[[nodiscard]] int takeAgentDescriptors(int agentEnd, int ownEnd) noexcept;

// The job's signals. They are installed once, by the driver, before it starts anything else.

// SIGTERM and SIGINT go to `unxInterruptHandler` (a SIGINT that the starter had ignored stays
// ignored), SIGPIPE and SIGHUP are ignored, so is SIGXFSZ, which leaves a write past the limit of a
// file's size to fail like any other, SIGCHLD is back at its default, without which no child
// could be waited for; none of them stays blocked. The process becomes the leader of a process
// group of its own. Interrupted system calls are restarted.
void installSignalHandlers();

// For SIGINT and SIGTERM: sets the process-wide stop flag and remembers the signal for
// `traceCaughtSignal`; any other signal is left alone. It does nothing else, because it may have
// interrupted the trace itself. It does not end the process.
extern "C" void unxInterruptHandler(int signal);

// Blocks every signal for a scope, on the calling thread and what is made of it meanwhile.
class SignalsBlocked final {
 public:
  SignalsBlocked() noexcept {
    sigset_t all;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &m_old);
  }
  ~SignalsBlocked() { ::pthread_sigmask(SIG_SETMASK, &m_old, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t m_old{};
};

}  // namespace orv
