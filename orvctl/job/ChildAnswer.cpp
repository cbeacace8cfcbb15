#include "orvctl/job/ChildAnswer.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <exception>
#include <optional>

#include "orvctl/text/CtlError.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/UniqueFd.h"

namespace orv::ctl {
namespace {

using Clock = std::chrono::steady_clock;

// The first byte of an answer; the rest is the value or the error's text. An error's second byte is
// its exit code.
constexpr char VALUE = 'v';
constexpr char FAILURE = 'f';

// A child that is left behind must hold nothing that somebody waits for: whoever reads the output
// waits until its last owner is gone.
void letGoOfOutput() {
  const UniqueFd nothing(::open("/dev/null", O_RDWR | O_CLOEXEC));
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    if (::dup2(nothing.get(), fd) < 0)
      ::close(fd);
}

[[noreturn]] void answer(const std::function<std::string()>& work, int pipe) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  letGoOfOutput();
  std::string text;
  try {
    text = VALUE + work();
  } catch (const CtlError& error) {
    text = std::string{FAILURE, static_cast<char>(error.exitCode())} + error.what();
  } catch (const std::exception& error) {
    text = std::string{FAILURE, static_cast<char>(EXIT_FAILED)} + error.what();
  }
  ::_exit(writeFully(pipe, text) ? 0 : EXIT_FAILED);
}

// All that comes through the pipe until its end; nothing when that does not come in time.
std::optional<std::string> readUntil(int pipe, std::optional<Clock::time_point> deadline) {
  std::string text;
  std::array<char, 65536> buffer;
  for (;;) {
    int wait = -1;
    if (deadline) {
      const auto left =
          std::chrono::duration_cast<std::chrono::milliseconds>(*deadline - Clock::now());
      if (left.count() <= 0)
        return std::nullopt;
      wait = static_cast<int>(left.count()) + 1;
    }
    pollfd ready{pipe, POLLIN, 0};
    if (::poll(&ready, 1, wait) <= 0)
      continue;
    const ssize_t got = ::read(pipe, buffer.data(), buffer.size());
    if (got == 0)
      return text;
    if (got > 0)
      text.append(buffer.data(), static_cast<std::size_t>(got));
  }
}

}  // namespace

std::string answerOfChild(const std::function<std::string()>& work, std::chrono::seconds limit,
                          const std::string& what) {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0)
    throw CtlError(what + ": cannot make a pipe: " + errnoText(errno));
  const UniqueFd in(ends[0]);
  UniqueFd out(ends[1]);
  const pid_t child = ::fork();
  if (child < 0)
    throw CtlError(what + ": cannot start a process: " + errnoText(errno));
  if (child == 0)
    answer(work, out.get());
  out.reset();
  const auto text =
      readUntil(in.get(), limit.count() > 0 ? std::optional(Clock::now() + limit) : std::nullopt);
  if (!text) {
    // Not waited for: what sleeps in the kernel does not die before it wakes up.
    ::kill(child, SIGKILL);
    throw CtlError(fmt::format("{}: no answer within {} s (process {} still waits for it)", what,
                               limit.count(), child));
  }
  while (::waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
  }
  if (text->empty())
    throw CtlError(what + ": the process that examined it ended without an answer");
  if (text->front() == FAILURE)
    throw CtlError(text->substr(2), (*text)[1]);
  return text->substr(1);
}

}  // namespace orv::ctl
