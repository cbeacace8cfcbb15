#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Scan/share/WorkDirectory.h"

namespace orv::share {

// How the shares of a scan are walked. From the environment, at the program's edge.
struct SpreadOptions {
  std::string work;              // the work directory; empty: the job walks by itself
  std::string catalog;           // the message catalog, of which the shares get a copy
  std::string engine = "local";  // "local" or "slurm"
  std::string partition;         // of the engine; empty for its own choice
  int tasks = 2;                 // shares that are walked at a time
  std::int64_t budget = 0;       // entries of a share, at most; 0: what is walked in a minute
};

// Has shares walked. Owned by the coordinator, used on its thread.
class Engine {
 public:
  Engine() = default;
  virtual ~Engine() = default;
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  // A share whose walk is over as far as the engine knows: its state is there, or it never will be.
  struct Ended {
    std::uint32_t share;
    std::string reason;  // why it may have failed; empty when nothing is known against it
  };

  // Has these shares walked, sooner or later.
  virtual void start(const std::vector<std::uint32_t>& shares) = 0;
  // Those that ended since the last call; waits for some at most for that time, and not on when the
  // scan is stopped.
  [[nodiscard]] virtual std::vector<Ended> wait(std::chrono::milliseconds limit) = 0;
  // What shares that were started wait for, for people; empty when all are walked.
  [[nodiscard]] virtual std::string hindrance() const { return {}; }
  // Ends everything that was started, also by an earlier coordinator of the run.
  virtual void cancel() noexcept = 0;
};

// Null for an engine of an unknown name. `program` is the scan program; the scan's environment is
// that of its shares.
[[nodiscard]] std::unique_ptr<Engine> makeEngine(const SpreadOptions& options,
                                                 const WorkDirectory& work, const std::string& run,
                                                 const std::string& program);

}  // namespace orv::share
