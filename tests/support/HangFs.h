#pragma once

#include <signal.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>
#include <string>

namespace orv::test {

// A mount of the filesystem that never answers for certain names (see hangfs.cpp), for use inside a
// private mount namespace. Its end kills the server, which frees whoever still waits for it.
class HangFs final {
 public:
  // Shows `source` at `mountPoint`; both exist. With `hangsOnStatfs` no capacity figures either.
  HangFs(const std::string& source, const std::string& mountPoint, bool hangsOnStatfs = false)
      : m_mountPoint(mountPoint) {
    m_server = ::fork();
    if (m_server == 0) {
      // Whatever becomes of the test, the server does not outlive it.
      ::prctl(PR_SET_PDEATHSIG, SIGKILL);
      ::execl(ORV_HANGFS, "hangfs", source.c_str(), mountPoint.c_str(),
              hangsOnStatfs ? "statfs" : nullptr, nullptr);
      ::_exit(127);
    }
    while (!isMounted()) {
      if (::waitpid(m_server, nullptr, WNOHANG) != 0)
        throw std::runtime_error("hangfs cannot mount " + mountPoint);
      ::usleep(10'000);
    }
    struct stat st {};
    if (::stat(mountPoint.c_str(), &st) != 0)
      throw std::runtime_error("hangfs does not answer at " + mountPoint);
  }
  ~HangFs() {
    kill();
    ::umount2(m_mountPoint.c_str(), MNT_DETACH);
  }
  HangFs(const HangFs&) = delete;
  HangFs& operator=(const HangFs&) = delete;

  // Stops the server before it reads another request.
  void stop() const {
    ::kill(m_server, SIGSTOP);
    ::waitpid(m_server, nullptr, WUNTRACED);
  }
  void goOn() const { ::kill(m_server, SIGCONT); }

  // Ends the server: every call that waits for it fails.
  void kill() {
    if (m_server > 0) {
      ::kill(m_server, SIGKILL);
      ::waitpid(m_server, nullptr, 0);
    }
    m_server = -1;
  }

  // Whether this machine can mount one at all.
  [[nodiscard]] static bool isPossible() { return ::access("/dev/fuse", R_OK | W_OK) == 0; }

 private:
  [[nodiscard]] bool isMounted() const {
    std::ifstream table("/proc/self/mounts");
    for (std::string line; std::getline(table, line);)
      if (line.find(" " + m_mountPoint + " fuse") != std::string::npos)
        return true;
    return false;
  }

  std::string m_mountPoint;
  pid_t m_server = -1;
};

}  // namespace orv::test
