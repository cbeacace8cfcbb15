#include "Scan/share/SlurmCommand.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <string_view>

#include "runtime/thrd/StopFlag.h"
#include "runtime/ut/Text.h"

namespace orv::share {
namespace {

// Seconds that a command may take.
constexpr const char* LIMIT = "60";
// Between two looks at the stop flag, in milliseconds.
constexpr int LOOK_FOR_STOP = 100;

// What people set for themselves with such variables would hide tasks from the scan, or have its
// commands ask before they do anything.
std::vector<char*> environmentWithoutTastes() {
  constexpr std::array<std::string_view, 3> TASTES = {"SQUEUE_", "SCANCEL_", "SACCT_"};
  std::vector<char*> variables;
  for (char** variable = environ; *variable != nullptr; ++variable)
    if (std::ranges::none_of(TASTES, [&](std::string_view taste) {
          return std::string_view(*variable).starts_with(taste);
        }))
      variables.push_back(*variable);
  variables.push_back(nullptr);
  return variables;
}

std::string contentOf(int file) {
  std::string content;
  char buffer[4096];
  for (;;) {
    const ssize_t got = ::pread(file, buffer, sizeof buffer, static_cast<off_t>(content.size()));
    if (got <= 0)
      return content;
    content.append(buffer, static_cast<std::size_t>(got));
  }
}

}  // namespace

SlurmCommand::SlurmCommand(std::vector<std::string> words)
    : m_name(words.front()),
      m_output(::memfd_create("output", MFD_CLOEXEC)),
      m_errors(::memfd_create("errors", MFD_CLOEXEC)) {
  words.insert(words.begin(), {"timeout", LIMIT});
  std::vector<char*> arguments;
  for (std::string& word : words)
    arguments.push_back(word.data());
  arguments.push_back(nullptr);
  std::vector<char*> variables = environmentWithoutTastes();
  posix_spawn_file_actions_t files;
  ::posix_spawn_file_actions_init(&files);
  ::posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  ::posix_spawn_file_actions_adddup2(&files, m_output.get(), STDOUT_FILENO);
  ::posix_spawn_file_actions_adddup2(&files, m_errors.get(), STDERR_FILENO);
  // Not by fork: the job may hold much memory.
  m_error = ::posix_spawnp(&m_pid, arguments.front(), &files, nullptr, arguments.data(),
                           variables.data());
  ::posix_spawn_file_actions_destroy(&files);
  if (m_error != 0)
    m_pid = 0;
  else
    m_process.reset(static_cast<int>(::syscall(SYS_pidfd_open, m_pid, 0)));
}

SlurmCommand::~SlurmCommand() {
  if (m_pid > 0)
    ::kill(m_pid, SIGTERM);
  finish(true);
}

void SlurmCommand::finish(bool isLast) noexcept {
  while (!hasEnded(LOOK_FOR_STOP))
    if (!isLast && agentStop.load(std::memory_order_relaxed))
      ::kill(m_pid, SIGTERM);
}

bool SlurmCommand::hasEnded(int milliseconds) noexcept {
  pollfd end = {m_process.get(), POLLIN, 0};
  if (m_pid > 0 && milliseconds > 0)
    (void)::poll(&end, 1, milliseconds);
  if (m_pid > 0 && ::waitpid(m_pid, &m_status, WNOHANG) == 0)
    return false;
  m_pid = 0;
  return true;
}

bool SlurmCommand::isDone() const noexcept {
  return m_error == 0 && WIFEXITED(m_status) && WEXITSTATUS(m_status) == 0;
}

std::string SlurmCommand::output() const {
  return contentOf(m_output.get());
}

std::string SlurmCommand::failure() const {
  // What "timeout" ends with when the time is over, and when there is no such command.
  constexpr int TIMED_OUT = 124;
  constexpr int NOT_FOUND = 127;
  const int code = WIFEXITED(m_status) ? WEXITSTATUS(m_status) : -1;
  if (m_error != 0)
    return m_name + ": " + errnoText(m_error);
  if (code == TIMED_OUT)
    return m_name + ": no answer within " + LIMIT + " seconds";
  if (code == NOT_FOUND)
    return m_name + ": there is no such command";
  std::string words(trimmed(contentOf(m_errors.get()), " \n"));
  std::ranges::replace(words, '\n', ' ');
  if (words.empty())
    words = formatText("exit code %d", code);
  // Most of its words tell that they are its own.
  return words.starts_with(m_name) ? words : m_name + ": " + words;
}

}  // namespace orv::share
