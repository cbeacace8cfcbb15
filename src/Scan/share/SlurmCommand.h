#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "runtime/ut/UniqueFd.h"

namespace orv::share {

// A command of Slurm that runs beside the coordinator, without a shell, for a minute at most: a
// controller that hangs must not hold the coordinator. Ended with its object. Owned by the engine,
// used on its thread.
class SlurmCommand final {
 public:
  explicit SlurmCommand(std::vector<std::string> words);
  ~SlurmCommand();
  SlurmCommand(const SlurmCommand&) = delete;
  SlurmCommand& operator=(const SlurmCommand&) = delete;

  // Runs it to its end, or until the scan is stopped unless `isLast`.
  void finish(bool isLast = false) noexcept;
  // Whether it has ended, after so many milliseconds at most.
  [[nodiscard]] bool hasEnded(int milliseconds) noexcept;

  // Valid at its end: whether all went well, what it wrote to standard output, and why it failed,
  // in its own words as far as it has any, in one line.
  [[nodiscard]] bool isDone() const noexcept;
  [[nodiscard]] std::string output() const;
  [[nodiscard]] std::string failure() const;

 private:
  std::string m_name;
  // Files without names: they do not fill up as pipes do.
  UniqueFd m_output;
  UniqueFd m_errors;
  UniqueFd m_process;
  pid_t m_pid = 0;  // until it is reaped
  int m_error = 0;  // why it was not started
  int m_status = 0;
};

}  // namespace orv::share
