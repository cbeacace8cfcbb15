#pragma once

#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <vector>

#include "runtime/ut/UniqueFd.h"

// Processes that make the calls which may never return. A thread asleep in the kernel keeps its
// whole process from ending, even after SIGKILL, and the process's locks from being freed: such
// calls are therefore made by a helper that holds nothing of the job but two pipes.
namespace orv {

// The helpers that were killed and have not been seen to end: those that sleep in the kernel. Owned
// by the scan, on whose thread it is used.
class LeftBehind final {
 public:
  // How many there still are. Those that have ended meanwhile are reaped.
  [[nodiscard]] std::size_t count() noexcept;

 private:
  friend class HelperProcess;
  std::vector<pid_t> m_helpers;  // with room for those that still run
  std::size_t m_running = 0;
};

// One helper, forked from the calling thread. It dies with that thread's process, or as soon as the
// kernel lets it. Owned by who asks it things, used on that thread. SIGPIPE has to be ignored.
class HelperProcess final {
 public:
  // What the helper does, with its ends of the pipes, until it returns: in a copy of a process that
  // may have had other threads, so that nothing may be allocated there.
  using Life = std::function<void(int requests, int replies)>;

  // `leftBehind` must outlive the helper.
  explicit HelperProcess(LeftBehind& leftBehind) noexcept : m_leftBehind(leftBehind) {}
  ~HelperProcess() { end(); }
  HelperProcess(const HelperProcess&) = delete;
  HelperProcess& operator=(const HelperProcess&) = delete;

  // Starts the helper, which must not be running: it lets go of everything but its pipe ends, has
  // the default signals, and lives. False with errno when it cannot be made.
  [[nodiscard]] bool start(const Life& life);
  [[nodiscard]] bool isRunning() const noexcept { return m_process > 0; }
  [[nodiscard]] pid_t process() const noexcept { return m_process; }

  // The job's ends of the pipes, which never block. -1 when there is no helper.
  [[nodiscard]] int requests() const noexcept { return m_requests.get(); }
  [[nodiscard]] int replies() const noexcept { return m_replies.get(); }

  // Kills the helper and leaves it behind, never waiting for its end.
  void end() noexcept;

 private:
  LeftBehind& m_leftBehind;
  UniqueFd m_requests;
  UniqueFd m_replies;
  pid_t m_process = -1;
};

}  // namespace orv
