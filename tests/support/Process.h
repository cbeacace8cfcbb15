#pragma once

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace orv::test {

// A child process of a test; killed and reaped if it is still there at the end.
class Process final {
 public:
  // Runs `body` and exits with what it returns.
  explicit Process(const std::function<int()>& body) : m_pid(::fork()) {
    if (m_pid < 0)
      throw std::runtime_error("fork");
    if (m_pid > 0)
      return;
    // Whatever becomes of the test, its children do not outlive it.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::_exit(body());
  }
  // Runs a program, which finds signals as they are by default, whoever runs the tests.
  Process(const std::vector<std::string>& command, const std::map<std::string, std::string>& env,
          const std::string& outputFile)
      : Process([&] { return execute(command, env, outputFile); }) {}
  ~Process() { kill(); }
  Process(Process&& other) noexcept : m_pid(std::exchange(other.m_pid, -1)) {}
  Process& operator=(Process&&) = delete;

  [[nodiscard]] pid_t pid() const noexcept { return m_pid; }
  void signal(int number) const { ::kill(m_pid, number); }

  // The exit code; 1000 plus the signal for a process that a signal ended.
  [[nodiscard]] int wait() {
    int status = 0;
    while (::waitpid(m_pid, &status, 0) < 0 && errno == EINTR) {
    }
    m_pid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
  }
  void kill() {
    if (m_pid <= 0)
      return;
    signal(SIGKILL);
    (void)wait();
  }

 private:
  static int execute(const std::vector<std::string>& command,
                     const std::map<std::string, std::string>& env, const std::string& outputFile) {
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE})
      ::signal(number, SIG_DFL);
    for (const auto& [name, value] : env)
      ::setenv(name.c_str(), value.c_str(), 1);
    const int fd = ::open(outputFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    ::dup2(fd, STDOUT_FILENO);
    ::dup2(fd, STDERR_FILENO);
    std::vector<char*> argv;
    for (const std::string& argument : command)
      argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    ::execv(argv[0], argv.data());
    return 126;
  }

  pid_t m_pid;
};

// Lets other processes wait until this one says so; either side may end unexpectedly.
class Gate final {
 public:
  Gate() {
    if (::pipe(m_ends) != 0)
      throw std::runtime_error("pipe");
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
