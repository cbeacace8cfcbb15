#pragma once

// The job's signals. They are installed once, by the driver, before it starts anything else.
namespace orv {

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

}  // namespace orv
