#pragma once

#include <sched.h>
#include <sys/mount.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <functional>
#include <string>

#include "support/Process.h"
#include "support/TempDir.h"

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
  const TempDir dir;
  const std::string file = dir.file("answer");
  Process child([&] {
    if (::unshare(CLONE_NEWNS) != 0 ||
        ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
      writeFile(file, std::string("no private mount namespace: ") + std::strerror(errno));
    else
      writeFile(file, answerOf(body));
    return 0;
  });
  const int code = child.wait();
  return readFile(file) + (code != 0 ? "; the child ended with " + std::to_string(code) : "");
}

// Whether this process may make a private mount namespace; tests that need one skip without it.
inline bool canMount() {
  return inPrivateMounts([] { return std::string(); }).empty();
}

}  // namespace orv::test
