#pragma once

#include <sys/mount.h>
#include <sys/stat.h>

#include "support/Process.h"

namespace orv::test {

// A mount of the filesystem that never answers for certain names (see hangfs.cpp), for use inside a
// private mount namespace. Its end kills the server, which frees whoever still waits for it.
class HangFs final {
 public:
  // Shows `source` at `mountPoint`; both exist. With `hangsOnStatfs` no capacity figures either.
  HangFs(const std::string& source, const std::string& mountPoint, bool hangsOnStatfs = false)
      : m_mountPoint(mountPoint),
        m_server({ORV_HANGFS, source, mountPoint, hangsOnStatfs ? "statfs" : ""}, {}, "/dev/null") {
    while (!isMounted()) {
      if (!isRunning(m_server.pid()))
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
    m_server.signal(SIGSTOP);
    ::waitpid(m_server.pid(), nullptr, WUNTRACED);
  }
  void goOn() const { m_server.signal(SIGCONT); }

  // Ends the server: every call that waits for it fails.
  void kill() { m_server.kill(); }

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
  Process m_server;
};

}  // namespace orv::test
