#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <string>
#include <thread>

namespace orv::test {

// A forked process that runs a function and exits with what it returns. Killed with its owner.
class ForkedProcess final {
 public:
  template <typename Body>
  explicit ForkedProcess(const Body& body) : m_pid(::fork()) {
    if (m_pid == 0)
      ::_exit(body());
  }
  ~ForkedProcess() { kill(); }
  ForkedProcess(ForkedProcess&& other) noexcept : m_pid(std::exchange(other.m_pid, -1)) {}
  ForkedProcess& operator=(ForkedProcess&&) = delete;

  [[nodiscard]] pid_t pid() const noexcept { return m_pid; }

  // The exit code; -1 when it did not exit by itself.
  int wait() {
    int status = 0;
    const pid_t ended = ::waitpid(std::exchange(m_pid, -1), &status, 0);
    return ended > 0 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  void kill() {
    if (m_pid <= 0)
      return;
    ::kill(m_pid, SIGKILL);
    wait();
  }

 private:
  pid_t m_pid;
};

// Lets other processes wait until this one says so; either side may end unexpectedly.
class Gate final {
 public:
  Gate() {
    if (::pipe(m_ends) != 0)
      std::abort();
  }
  ~Gate() {
    ::close(m_ends[0]);
    ::close(m_ends[1]);
  }
  Gate(const Gate&) = delete;
  Gate& operator=(const Gate&) = delete;

  void open(std::size_t waiting = 1) const {
    (void)!::write(m_ends[1], std::string(waiting, 'x').data(), waiting);
  }
  void waitUntilOpen() const {
    char ignored = 0;
    (void)!::read(m_ends[0], &ignored, 1);
  }

 private:
  int m_ends[2];
};

// Whether a process runs; one that ended and was not waited for does not.
inline bool isRunning(pid_t pid) {
  std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
  std::string id, name, state;
  return stat >> id >> name >> state && state != "Z" && state != "X";
}

// Polls until `condition` holds; false when it still does not after a good while.
template <typename Condition>
[[nodiscard]] bool eventually(const Condition& condition) {
  for (int i = 0; i < 2000; ++i) {
    if (condition())
      return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return false;
}

}  // namespace orv::test
