#pragma once

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace orv::test {

// A child process of a test; killed and reaped if it is still there at the end.
class Process final {
 public:
  Process(const std::vector<std::string>& command, const std::map<std::string, std::string>& env,
          const std::string& outputFile) {
    m_pid = ::fork();
    if (m_pid < 0)
      throw std::runtime_error("fork");
    if (m_pid == 0)
      execute(command, env, outputFile);
  }
  ~Process() {
    if (m_pid > 0) {
      ::kill(m_pid, SIGKILL);
      (void)wait();
    }
  }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  Process(Process&& other) noexcept : m_pid(other.m_pid) { other.m_pid = -1; }

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

 private:
  [[noreturn]] static void execute(const std::vector<std::string>& command,
                                   const std::map<std::string, std::string>& env,
                                   const std::string& outputFile) {
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
    ::_exit(126);
  }

  pid_t m_pid;
};

}  // namespace orv::test
