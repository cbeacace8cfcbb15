#include "orvctl/job/SlurmCommand.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string_view>

#include "orvctl/text/CtlError.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/UniqueFd.h"

namespace orv::ctl {
namespace {

constexpr const char* LIMIT = "30";  // seconds
constexpr int CANNOT_RUN = 127;      // what a shell says of a missing program
constexpr int TIMED_OUT = 124;       // what timeout(1) says

std::string readAll(int fd) {
  std::string text;
  std::array<char, 4096> buffer;
  for (;;) {
    const ssize_t got = ::read(fd, buffer.data(), buffer.size());
    if (got < 0 && errno == EINTR)
      continue;
    if (got <= 0)
      return text;
    text.append(buffer.data(), static_cast<std::size_t>(got));
  }
}

// Lines one behind the other, as one error says them.
std::string onOneLine(std::string_view text) {
  std::string line;
  while (!text.empty()) {
    const std::string_view part = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(part.size() + 1, text.size()));
    if (!part.empty())
      line += (line.empty() ? "" : "; ") + std::string(part);
  }
  return withoutControlCharacters(line);
}

}  // namespace

CommandEnd runSlurmCommand(std::vector<std::string> words) {
  words.insert(words.begin(), {"timeout", LIMIT});
  std::vector<char*> arguments;
  for (std::string& word : words)
    arguments.push_back(word.data());
  arguments.push_back(nullptr);
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0)
    return {CANNOT_RUN, "make a pipe: " + errnoText(errno)};
  const UniqueFd in(ends[0]);
  UniqueFd out(ends[1]);
  posix_spawn_file_actions_t files;
  ::posix_spawn_file_actions_init(&files);
  ::posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  ::posix_spawn_file_actions_adddup2(&files, out.get(), STDOUT_FILENO);
  ::posix_spawn_file_actions_adddup2(&files, out.get(), STDERR_FILENO);
  pid_t pid = 0;
  const int error =
      ::posix_spawnp(&pid, arguments.front(), &files, nullptr, arguments.data(), environ);
  ::posix_spawn_file_actions_destroy(&files);
  // An end that is open here would keep the command's own end from being seen.
  out.reset();
  if (error != 0)
    return {CANNOT_RUN, "start " + words.front() + ": " + errnoText(error)};
  CommandEnd end;
  end.words = onOneLine(readAll(in.get()));
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  end.code = WIFEXITED(status) ? WEXITSTATUS(status) : CANNOT_RUN;
  if (end.code == TIMED_OUT)
    end.words += fmt::format("{}no end within {} seconds", end.words.empty() ? "" : "; ", LIMIT);
  return end;
}

void requireSlurm(const std::string& partition) {
  std::vector<std::string> words = {"sbatch", "--test-only", "--ntasks=1"};
  if (!partition.empty())
    words.push_back("--partition=" + partition);
  words.emplace_back("--wrap=true");
  const CommandEnd end = runSlurmCommand(std::move(words));
  if (end.code != 0)
    throw CtlError(fmt::format(
        "cannot scan with Slurm, which would not take a task: {}",
        end.words.empty() ? fmt::format("sbatch ends with code {}", end.code) : end.words));
}

}  // namespace orv::ctl
