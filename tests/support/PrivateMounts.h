#pragma once

#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <functional>
#include <string>

#include "runtime/ut/UniqueFd.h"

namespace orv::test {

// What the body returns, or the exception that ended it.
inline std::string answerOf(const std::function<std::string()>& body) {
  try {
    return body();
  } catch (const std::exception& e) {
    return e.what();
  }
}

// Runs `body` in a child process with a mount namespace of its own, so that whatever it mounts is
// gone with it. The body returns what went wrong, empty when nothing did; the child's answer (or
// how it died) is the result.
inline std::string inPrivateMounts(const std::function<std::string()>& body) {
  int ends[2];
  if (::pipe(ends) != 0)
    return "pipe failed";
  const pid_t child = ::fork();
  if (child == 0) {
    std::string answer;
    if (::unshare(CLONE_NEWNS) != 0 ||
        ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
      answer = std::string("no private mount namespace: ") + std::strerror(errno);
    else
      answer = answerOf(body);
    const bool isTold = writeFully(ends[1], answer);
    ::_exit(isTold ? 0 : 1);
  }
  ::close(ends[1]);
  const UniqueFd fromChild(ends[0]);
  std::string answer;
  char buffer[4096];
  for (ssize_t got; (got = ::read(fromChild.get(), buffer, sizeof buffer)) > 0;)
    answer.append(buffer, static_cast<std::size_t>(got));
  int status = 0;
  if (::waitpid(child, &status, 0) != child || status != 0)
    answer += "; the child ended with wait status " + std::to_string(status);
  return answer;
}

// Whether this process may make a private mount namespace; tests that need one skip without it.
inline bool canMount() {
  return inPrivateMounts([] { return std::string(); }).empty();
}

}  // namespace orv::test
