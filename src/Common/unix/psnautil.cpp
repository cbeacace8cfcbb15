#include "Common/unix/psnautil.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>

#include "Common/unix/pssignal.h"
#include "runtime/unx/AtomicFile.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"
#include "runtime/ut/UniqueFd.h"

namespace orv {
namespace {

// The process check is a matter of milliseconds; a ps that hangs is given up after this.
constexpr int PS_TIMEOUT_SECONDS = 30;
constexpr const char* PS_PROGRAMS[] = {"/usr/bin/ps", "/bin/ps"};

// How often the alarm repeats once it is due, and for how many repeats a killed child is waited
// for.
constexpr suseconds_t ALARM_REPEAT_MICROSECONDS = 50'000;
constexpr int REAP_REPEATS = 40;

// ---- between fork and exec: async-signal-safe calls only ----

void resetSignals() noexcept {
  struct sigaction action {};
  action.sa_handler = SIG_DFL;
  for (int signal = 1; signal <= SIGRTMAX; ++signal)
    ::sigaction(signal, &action,
                nullptr);  // refused for SIGKILL, SIGSTOP and libc's own: no matter
  sigset_t none;
  ::sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

bool placeFile(const char* name, int flags, int target) noexcept {
  const int fd = ::open(name, flags, 0600);
  return fd == target || (fd >= 0 && ::dup2(fd, target) == target);
}

void complain(const char* what) noexcept {
  const char* reason = ::strerrordesc_np(errno);
  for (const char* part : {"cannot execute ", what, ": ", reason != nullptr ? reason : "?", "\n"})
    if (!writeFully(STDERR_FILENO, {part, std::strlen(part)}))
      return;
}

[[noreturn]] void becomeProgram(char* const* arguments, const OutputFiles& output) noexcept {
  constexpr int WRITE_FLAGS = O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_NOCTTY;
  const std::string& out = output.standardOutput;
  const std::string& err = output.standardError;
  // A group of its own: a time-out ends the program with all that it started.
  ::setpgid(0, 0);
  resetSignals();
  // First, so that a job that has used up its descriptors can still start a program.
  ::closefrom(STDERR_FILENO + 1);
  // A host that has no descriptor left has none for an input that nobody reads.
  if (!placeFile("/dev/null", O_RDONLY, STDIN_FILENO))
    ::close(STDIN_FILENO);
  if ((out.empty() || placeFile(out.c_str(), WRITE_FLAGS, STDOUT_FILENO)) &&
      (err.empty() || placeFile(err.c_str(), WRITE_FLAGS, STDERR_FILENO))) {
    ::closefrom(STDERR_FILENO + 1);
    ::execv(arguments[0], arguments);
  }
  complain(arguments[0]);
  ::_exit(PROGRAM_NOT_STARTED);
}

// ---- the parent's side ----

pid_t waitRestarting(pid_t pid, int& status) noexcept {
  pid_t result = 0;
  do {
    result = ::waitpid(pid, &status, 0);
  } while (result < 0 && errno == EINTR);
  return result;
}

// Forks and executes. A child that is given the very id that means "not started" is let go unused,
// so that the caller can tell the two apart.
pid_t forkProgram(char* const* arguments, const OutputFiles& output) {
  // None of the job's handlers may run in the child.
  const SignalsBlocked guard;
  while (true) {
    const pid_t pid = ::fork();
    if (pid == 0 && ::getpid() == PROGRAM_NOT_STARTED)
      ::_exit(0);
    if (pid == 0)
      becomeProgram(arguments, output);
    if (pid != PROGRAM_NOT_STARTED)
      return pid;
    int ignored = 0;
    waitRestarting(pid, ignored);
  }
}

std::atomic<bool> alarmFired{false};

extern "C" void onAlarm(int) {
  alarmFired.store(true, std::memory_order_relaxed);
}

// An alarm for a scope; nothing with 0 seconds or less. Once due it repeats, so that one that falls
// just before the wait is entered does not get lost: the next one interrupts the wait.
class AlarmClock final {
 public:
  explicit AlarmClock(int seconds) noexcept : m_isSet(seconds > 0) {
    alarmFired = false;
    if (!m_isSet)
      return;
    struct sigaction action {};
    action.sa_handler = onAlarm;  // without SA_RESTART: it is to interrupt
    ::sigemptyset(&action.sa_mask);
    if (::sigaction(SIGALRM, &action, &m_oldAction) != 0)
      TRACE(TR_ERROR, "Error defining new signal action");
    sigset_t alarmOnly;
    ::sigemptyset(&alarmOnly);
    ::sigaddset(&alarmOnly, SIGALRM);
    ::pthread_sigmask(SIG_UNBLOCK, &alarmOnly, &m_oldMask);
    arm(seconds, ALARM_REPEAT_MICROSECONDS);
  }
  ~AlarmClock() {
    if (!m_isSet)
      return;
    arm(0, 0);
    ::pthread_sigmask(SIG_SETMASK, &m_oldMask, nullptr);
    if (::sigaction(SIGALRM, &m_oldAction, nullptr) != 0)
      TRACE(TR_ERROR, "Error restoring old signal action");
  }
  AlarmClock(const AlarmClock&) = delete;
  AlarmClock& operator=(const AlarmClock&) = delete;

 private:
  static void arm(time_t seconds, suseconds_t repeatMicroseconds) noexcept {
    const itimerval timer{{0, repeatMicroseconds}, {seconds, 0}};
    ::setitimer(ITIMER_REAL, &timer, nullptr);
  }

  bool m_isSet;
  struct sigaction m_oldAction {};
  sigset_t m_oldMask{};
};

void killGroup(pid_t pid) {
  if (::kill(-pid, SIGKILL) == 0 || ::kill(pid, SIGKILL) == 0)
    TRACE(TR_MAX, "SIGKILL sent");
  else
    TRACE(TR_ERROR, "Failed to send SIGKILL.");
}

// Waits for a killed child for a moment only: one that sleeps in the kernel must not hold the job.
// The repeating alarm interrupts the waits.
void reapKilled(pid_t pid) noexcept {
  int status = 0;
  for (int i = 0; i < REAP_REPEATS; ++i)
    if (::waitpid(pid, &status, 0) == pid || errno != EINTR)
      return;
}

int exitCode(int status) {
  if (!WIFEXITED(status)) {
    TRACE(TR_ERROR, "child ended by signal %d", WTERMSIG(status));
    return PROGRAM_WAIT_FAILED;
  }
  TRACE(TR_MAX, "exit code:%d", WEXITSTATUS(status));
  return WEXITSTATUS(status);
}

bool isFoundBySignal(pid_t pid) noexcept {
  return pid > 0 && (::kill(pid, 0) == 0 || errno == EPERM);
}

// Whether what the signal finds is no process any more: one that ended and is not yet waited for,
// or a thread of another one that has the number now. False where the process table is hidden.
bool hasEnded(pid_t pid) {
  const auto status = readWholeFile(formatText("/proc/%d/status", pid));
  if (!status)
    return false;
  return status->find("\nState:\tZ") != std::string::npos ||
         status->find("\nState:\tX") != std::string::npos ||
         status->find(formatText("\nTgid:\t%d\n", pid)) == std::string::npos;
}

// What ps says of a process: 0 listed, 1 not listed, anything else: ps could not be asked.
int askPs(pid_t pid) {
  if (pid <= 0)
    return 1;
  const auto program =
      std::ranges::find_if(PS_PROGRAMS, [](const char* path) { return ::access(path, X_OK) == 0; });
  if (program == std::end(PS_PROGRAMS))
    return PROGRAM_NOT_STARTED;
  const pid_t child =
      SpawnExternalProgram({*program, "-p", std::to_string(pid)},
                           {.standardOutput = "/dev/null", .standardError = "/dev/null"});
  return child == PROGRAM_NOT_STARTED ? child : WaitForExternalProgram(child, PS_TIMEOUT_SECONDS);
}

}  // namespace

pid_t SpawnExternalProgram(const std::vector<std::string>& arguments, const OutputFiles& output) {
  TRACE_METHOD("SpawnExternalProgram(...)");
  if (arguments.empty()) {
    TRACE(TR_ERROR, "spawn: no program given");
    return PROGRAM_NOT_STARTED;
  }
  return SpawnPrepared(argumentVector(arguments).data(), output);
}

std::vector<char*> argumentVector(const std::vector<std::string>& arguments) {
  std::vector<char*> vector;
  vector.reserve(arguments.size() + 1);
  for (const std::string& argument : arguments)
    vector.push_back(const_cast<char*>(argument.c_str()));  // execv's signature; never written to
  vector.push_back(nullptr);
  return vector;
}

pid_t SpawnPrepared(char* const* arguments, const OutputFiles& output) {
  const pid_t pid = forkProgram(arguments, output);
  if (pid < 0) {
    TRACE(TR_ERROR, "spawn %s: fork: %s", arguments[0], errnoText(errno).c_str());
    return PROGRAM_NOT_STARTED;
  }
  // The child does the same; whoever comes first, the group exists before anyone signals it.
  ::setpgid(pid, pid);
  TRACE(TR_MAX, "spawned %s with pid %d", arguments[0], pid);
  return pid;
}

pid_t SpawnShellCommand(const std::string& command, const OutputFiles& output) {
  return SpawnExternalProgram({"/bin/sh", "-c", command}, output);
}

int WaitForExternalProgram(pid_t pid, int timeoutSeconds) {
  TRACE_METHOD("WaitForExternalProgram(...)");
  if (pid <= 0) {
    TRACE(TR_ERROR, "wait for process %d: no such child", pid);
    return PROGRAM_WAIT_FAILED;
  }
  const AlarmClock alarm(timeoutSeconds);
  int status = 0;
  while (::waitpid(pid, &status, 0) != pid) {
    if (errno != EINTR) {
      TRACE(TR_ERROR, "wait for process %d: %s", pid, errnoText(errno).c_str());
      return PROGRAM_WAIT_FAILED;
    }
    if (alarmFired) {
      TRACE(TR_ERROR, "process %d has not ended within %d seconds", pid, timeoutSeconds);
      killGroup(pid);
      reapKilled(pid);
      return PROGRAM_TIMED_OUT;
    }
  }
  return exitCode(status);
}

int RunShellCommand(const std::string& command) {
  const pid_t pid = SpawnShellCommand(command);
  int status = 0;
  return pid == PROGRAM_NOT_STARTED || waitRestarting(pid, status) != pid ? -1 : status;
}

bool psProcessIsRunning(pid_t pid) {
  TRACE_METHOD("psProcessIsRunning(...)");
  TRACE(TR_GENERAL, "ps -p %d", pid);
  // The signal decides where it finds something: another ps than the usual one may fail for every
  // process, and one without the rights sees only the caller's own.
  const bool running = isFoundBySignal(pid) ? !hasEnded(pid) : askPs(pid) == 0;
  if (running)
    TRACE(TR_MAX, "process with pid: %d is running", pid);
  else
    TRACE(TR_MAX, "process with pid: %d is not running", pid);
  return running;
}

bool processExists(pid_t pid) {
  return isFoundBySignal(pid) && !hasEnded(pid);
}

bool psRemoveFile(const std::string& name) {
  TRACE_METHOD("psRemoveFile(...)");
  if (::unlink(name.c_str()) == 0)
    return true;
  TRACE(TR_MAX, "remove %s: %s", name.c_str(), errnoText(errno).c_str());
  return false;
}

bool psFileExists(const std::string& name) {
  const bool exists = ::access(name.c_str(), F_OK) == 0;
  if (exists)
    TRACE(TR_MAX, "File %s exists", name.c_str());
  else
    TRACE(TR_MAX, "Files %s does not exists", name.c_str());
  return exists;
}

std::optional<long long> psFileSize(const std::string& name) {
  struct stat st {};
  if (::stat(name.c_str(), &st) != 0) {
    TRACE(TR_ERROR, "psFileSize failed on  = %s", name.c_str());
    return std::nullopt;
  }
  TRACE(TR_MAX, "psFileSize got fileSize64  = %lli", static_cast<long long>(st.st_size));
  return st.st_size;
}

}  // namespace orv
