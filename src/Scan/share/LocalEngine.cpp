#include "Scan/share/LocalEngine.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <utility>

#include "runtime/ut/Text.h"
#include "runtime/ut/UniqueFd.h"

namespace orv::share {
namespace {

// Processes whose end is waited for; that of others is seen with the next look. More would take the
// descriptors that new ones need, and the kernel refuses to wait for more than that limit at once.
constexpr std::size_t MOST_WATCHED = 256;

std::string endOf(int status) {
  if (WIFSIGNALED(status))
    return formatText("its process was ended by signal %d", WTERMSIG(status));
  return WEXITSTATUS(status) == 0
             ? std::string()
             : formatText("its process ended with code %d", WEXITSTATUS(status));
}

}  // namespace

LocalEngine::LocalEngine(const WorkDirectory& work, std::string program)
    : m_work(work), m_program(std::move(program)) {}

LocalEngine::~LocalEngine() {
  cancel();
}

void LocalEngine::start(const std::vector<std::uint32_t>& shares) {
  for (const std::uint32_t share : shares) {
    std::string number = std::to_string(share);
    std::string word = "-share";
    std::string work = m_work.path();
    const std::string log = m_work.log(number);
    char* arguments[] = {m_program.data(), word.data(), work.data(), number.data(), nullptr};
    posix_spawn_file_actions_t files;
    ::posix_spawn_file_actions_init(&files);
    ::posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, log.c_str(),
                                       O_WRONLY | O_CREAT | O_APPEND, 0600);
    ::posix_spawn_file_actions_adddup2(&files, STDOUT_FILENO, STDERR_FILENO);
    pid_t pid = 0;
    // Not by fork: the job may hold a large result, which must not be copied for a moment.
    const int error = ::posix_spawn(&pid, m_program.c_str(), &files, nullptr, arguments, environ);
    ::posix_spawn_file_actions_destroy(&files);
    if (error == 0)
      m_running.emplace(pid, share);
    else if (error == EAGAIN && !m_running.empty())
      m_waiting.push_back(share);
    else
      m_notStarted.push_back({share, "start " + m_program + ": " + errnoText(error)});
  }
}

std::vector<Engine::Ended> LocalEngine::wait(std::chrono::milliseconds limit) {
  std::vector<Ended> ended = std::move(m_notStarted);
  m_notStarted.clear();
  // Descriptors of processes become readable with their end, and a signal ends the wait.
  std::vector<UniqueFd> descriptors;
  std::vector<pollfd> polled;
  for (const auto& [pid, share] : m_running) {
    if (polled.size() == MOST_WATCHED)
      break;
    descriptors.emplace_back(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)));
    polled.push_back({descriptors.back().get(), POLLIN, 0});
  }
  if (ended.empty())
    (void)::poll(polled.data(), polled.size(), static_cast<int>(limit.count()));
  for (auto at = m_running.begin(); at != m_running.end();) {
    int status = 0;
    if (::waitpid(at->first, &status, WNOHANG) != at->first) {
      ++at;
      continue;
    }
    std::string reason = endOf(status);
    if (!reason.empty())
      reason += ": " + m_work.lastWords(std::to_string(at->second));
    ended.push_back({at->second, std::move(reason)});
    at = m_running.erase(at);
  }
  if (!ended.empty())
    start(std::exchange(m_waiting, {}));
  return ended;
}

void LocalEngine::cancel() noexcept {
  for (const auto& [pid, share] : m_running)
    ::kill(pid, SIGKILL);
  for (const auto& [pid, share] : m_running)
    while (::waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
    }
  m_running.clear();
  m_waiting.clear();
}

}  // namespace orv::share
