#include "Common/unix/ProcessSetup.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

namespace orv {
namespace {

constexpr mode_t JOB_UMASK = 027;

// 200 levels of the walk, the directories read ahead of it, and what else the job holds.
constexpr rlim_t WANTED_DESCRIPTORS = 1024;

bool isOpen(int fd) noexcept {
  return ::fcntl(fd, F_GETFD) >= 0;
}

void raiseDescriptorLimit() noexcept {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= WANTED_DESCRIPTORS)
    return;
  limit.rlim_cur = std::min(limit.rlim_max, WANTED_DESCRIPTORS);
  // Refused, the walk says which directories it could not open.
  (void)::setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace

void setUpProcess() noexcept {
  ::umask(JOB_UMASK);
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd)
    // The lowest free number is the one that is missing.
    if (!isOpen(fd))
      (void)::open("/dev/null", O_RDWR);
  raiseDescriptorLimit();
}

int takeAgentDescriptors(int agentEnd, int ownEnd) noexcept {
  if (agentEnd > STDERR_FILENO)
    ::close(agentEnd);
  else if (agentEnd > STDIN_FILENO && ::close(agentEnd) == 0)
    (void)::open("/dev/null", O_WRONLY);
  if (ownEnd <= 0 || !isOpen(ownEnd))
    return -1;
  if (ownEnd > STDERR_FILENO)
    (void)::fcntl(ownEnd, F_SETFD, FD_CLOEXEC);
  return ownEnd;
}

}  // namespace orv
