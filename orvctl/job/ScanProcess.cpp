#include "orvctl/job/ScanProcess.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <string_view>

#include "orvctl/text/CtlError.h"
#include "runtime/ut/Text.h"

namespace orv::ctl {
namespace {

using Clock = std::chrono::steady_clock;

// Blocks the signals that a wait is about, so that they stay pending until it takes them, and
// restores the mask at the end.
class BlockedSignals final {
 public:
  BlockedSignals() {
    ::sigemptyset(&m_set);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGCHLD})
      ::sigaddset(&m_set, signal);
    // An ignored SIGCHLD, which a parent may have left behind, would make the child's end unknown.
    std::signal(SIGCHLD, SIG_DFL);
    ::sigprocmask(SIG_BLOCK, &m_set, &m_before);
  }
  ~BlockedSignals() { ::sigprocmask(SIG_SETMASK, &m_before, nullptr); }
  BlockedSignals(const BlockedSignals&) = delete;
  BlockedSignals& operator=(const BlockedSignals&) = delete;

  // The next of the signals, or 0 after `timeout` without one.
  [[nodiscard]] int next(std::chrono::milliseconds timeout) const {
    const std::timespec limit{timeout.count() / 1000, timeout.count() % 1000 * 1000000};
    const int signal = ::sigtimedwait(&m_set, nullptr, &limit);
    return signal > 0 ? signal : 0;
  }

  [[nodiscard]] const sigset_t& before() const noexcept { return m_before; }

 private:
  sigset_t m_set{};
  sigset_t m_before{};
};

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts)
    pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

std::vector<std::string> mergedEnvironment(const std::vector<std::string>& changes) {
  std::vector<std::string> merged = changes;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string_view own(*entry);
    const auto sameName = [own](const std::string& change) {
      return own.starts_with(std::string_view(change).substr(0, change.find('=') + 1));
    };
    if (std::none_of(changes.begin(), changes.end(), sameName))
      merged.emplace_back(own);
  }
  return merged;
}

pid_t spawn(std::vector<std::string> arguments, std::vector<std::string> environment,
            const sigset_t& mask) {
  posix_spawnattr_t attributes;
  posix_spawn_file_actions_t files;
  ::posix_spawnattr_init(&attributes);
  ::posix_spawn_file_actions_init(&files);
  // Its own group from the start: a Ctrl-C at the terminal is ours alone to hand on.
  ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK);
  ::posix_spawnattr_setpgroup(&attributes, 0);
  ::posix_spawnattr_setsigmask(&attributes, &mask);
  ::posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  ::posix_spawn_file_actions_adddup2(&files, STDERR_FILENO, STDOUT_FILENO);
  pid_t pid = 0;
  const int error = ::posix_spawn(&pid, arguments.front().c_str(), &files, &attributes,
                                  pointersTo(arguments).data(), pointersTo(environment).data());
  ::posix_spawn_file_actions_destroy(&files);
  ::posix_spawnattr_destroy(&attributes);
  if (error != 0)
    throw CtlError(fmt::format("cannot start {}: {}", arguments.front(), errnoText(error)));
  return pid;
}

// Whether the child has ended; its end is then entered.
bool hasEnded(pid_t pid, ScanEnd& end) {
  int status = 0;
  const pid_t waited = ::waitpid(pid, &status, WNOHANG);
  if (waited < 0 && errno != EINTR)
    throw CtlError("cannot wait for the scan: " + errnoText(errno));
  if (waited != pid)
    return false;
  end.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 0;
  end.killedBy = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
  return true;
}

// The end of a scan that the user stops, step by step.
class Stopper final {
 public:
  Stopper(pid_t pid, const StopLimits& limits) : m_pid(pid), m_limits(limits) {}

  // A first signal asks, a second one kills.
  void signalled() { isStopping() ? killNow() : ask(); }

  // Kills what took too long to stop. False when it does not die of that either.
  [[nodiscard]] bool waitOn() {
    if (m_killed != NEVER)
      return Clock::now() < m_killed + m_limits.toDie;
    if (isStopping() && Clock::now() >= m_asked + m_limits.toStop)
      killNow();
    return true;
  }

  [[nodiscard]] bool isStopping() const noexcept { return m_asked != NEVER; }

 private:
  void ask() {
    ::kill(m_pid, SIGTERM);
    m_asked = Clock::now();
  }
  void killNow() {
    ::kill(m_pid, SIGKILL);
    if (m_killed == NEVER)
      m_killed = Clock::now();
  }

  static constexpr Clock::time_point NEVER = Clock::time_point::max();

  pid_t m_pid;
  StopLimits m_limits;
  Clock::time_point m_asked = NEVER;
  Clock::time_point m_killed = NEVER;
};

}  // namespace

ScanEnd runScan(const std::vector<std::string>& arguments,
                const std::vector<std::string>& environment, ScanWatcher& watcher,
                StopLimits limits) {
  constexpr std::chrono::milliseconds WHILE_STOPPING(50);
  const BlockedSignals signals;
  const Clock::time_point start = Clock::now();
  const auto elapsed = [start] {
    return std::chrono::duration<double>(Clock::now() - start).count();
  };
  const pid_t pid = spawn(arguments, mergedEnvironment(environment), signals.before());
  Stopper stopper(pid, limits);
  ScanEnd end;
  while (!hasEnded(pid, end)) {
    if (!stopper.waitOn()) {
      end.stuckPid = pid;
      break;
    }
    const int signal = signals.next(stopper.isStopping() ? WHILE_STOPPING : watcher.interval());
    if (signal == 0 && !stopper.isStopping()) {
      watcher.tick(elapsed());
    } else if (signal != 0 && signal != SIGCHLD) {
      if (!stopper.isStopping())
        watcher.stopping();
      stopper.signalled();
      end.stoppedBy = signal;
    }
  }
  end.elapsedSeconds = elapsed();
  return end;
}

}  // namespace orv::ctl
