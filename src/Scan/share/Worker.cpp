#include "Scan/share/Worker.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <optional>
#include <sstream>
#include <thread>

#include "runtime/unx/AtomicFile.h"
#include "runtime/unx/Files.h"
#include "runtime/ut/Text.h"

namespace orv::share {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr int FAILED = 8;
// Between two looks for an order: short while one is about to come, then easy on the filesystem.
constexpr auto SHORT_LOOK = 20ms;
constexpr auto LONG_LOOK = 500ms;
constexpr auto SOON = 2s;

// Nothing when there is none, or no work directory any more.
std::optional<Order> orderOf(const WorkDirectory& work, std::uint32_t worker) {
  const auto text = readWholeFile(work.order(worker));
  if (!text)
    return std::nullopt;
  std::istringstream in(*text);
  Order order;
  if (!(in >> order.number >> order.share))
    return std::nullopt;
  return order;
}

int walk(const WorkDirectory& work, std::uint32_t share) {
  std::string program = std::filesystem::read_symlink("/proc/self/exe");
  // Replaced meanwhile, by a newer package: its file is still there for this process.
  if (program.ends_with(" (deleted)"))
    program = "/proc/self/exe";
  std::string word = "-share";
  std::string directory = work.path();
  std::string number = std::to_string(share);
  // For whoever looks for a share's failure in the log of all that this worker did.
  std::fprintf(stderr, "scan: share %s of %s\n", number.c_str(), directory.c_str());
  char* arguments[] = {program.data(), word.data(), directory.data(), number.data(), nullptr};
  pid_t pid = 0;
  const int error = ::posix_spawn(&pid, program.c_str(), nullptr, nullptr, arguments, environ);
  if (error != 0)
    throw StateError("start " + program + ": " + errnoText(error));
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  if (WIFSIGNALED(status))
    throw StateError(
        formatText("walk share %u: its process was ended by signal %d", share, WTERMSIG(status)));
  return WEXITSTATUS(status);
}

int work(const WorkDirectory& work, std::uint32_t self) {
  if (!createFile(work.ready(self)))
    throw StateError("create " + work.ready(self) + ": " + errnoText(errno));
  std::uint32_t done = 0;
  auto idleSince = Clock::now();
  for (;;) {
    const auto order = orderOf(work, self);
    if (!order || order->share == Order::END)
      return 0;
    if (order->number == done || order->share == 0) {
      // Not before a look: it may have been suspended, and given a share meanwhile.
      if (Clock::now() > idleSince + std::chrono::seconds(WORKER_PATIENCE_SECONDS))
        return 0;
      std::this_thread::sleep_for(Clock::now() < idleSince + SOON ? SHORT_LOOK : LONG_LOOK);
      continue;
    }
    // With the share it leaves, so that the share is walked again where others are.
    if (const int code = walk(work, order->share); code != 0)
      return code;
    done = order->number;
    idleSince = Clock::now();
  }
}

}  // namespace

void give(const WorkDirectory& work, std::uint32_t worker, const Order& order) {
  const std::string file = work.order(worker);
  const std::string part = file + ".part";
  UniqueFd out = createFile(part);
  // Not flushed to the disk: of what was under way nothing is worth keeping after a crash.
  if (!out || !writeFully(out.get(), formatText("%u %u\n", order.number, order.share)))
    throw StateError("write " + part + ": " + errnoText(errno));
  out.reset();
  if (::rename(part.c_str(), file.c_str()) != 0)
    throw StateError("rename " + part + ": " + errnoText(errno));
}

std::vector<std::uint32_t> takeReadyWorkers(const WorkDirectory& work) {
  const std::vector<std::uint32_t> ready = work.readyWorkers();
  for (const std::uint32_t worker : ready)
    ::unlink(work.ready(worker).c_str());
  return ready;
}

int runWorker(const char* workDirectory, const char* number) noexcept {
  try {
    return work(WorkDirectory(workDirectory), numberOf(number));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "scan: worker %s of %s: %s\n", number, workDirectory, error.what());
    return FAILED;
  }
}

}  // namespace orv::share
