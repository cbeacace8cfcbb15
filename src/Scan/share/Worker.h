#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Scan/share/WorkDirectory.h"

namespace orv::share {

// A process on some node that walks one share after the other, so that starting it costs once and
// not per share. It and the coordinator talk by small files in the work directory, because a shared
// filesystem is all that they have in common.

// Waits for a share at most so long, then ends and gives back what it occupies.
constexpr int WORKER_PATIENCE_SECONDS = 60;

// What a worker is to do: the share, 0 for none; END: nothing any more. Numbered, so that the same
// share may be given twice.
struct Order {
  static constexpr std::uint32_t END = UINT32_MAX;
  std::uint32_t number = 0;
  std::uint32_t share = 0;
};

// Replaces the worker's order. Throws StateError.
void give(const WorkDirectory& work, std::uint32_t worker, const Order& order);

// The workers that have begun and were not told of before. Forgets them.
[[nodiscard]] std::vector<std::uint32_t> takeReadyWorkers(const WorkDirectory& work);

// Is that worker until it is told to end, waits in vain, or a share fails. 0, or the code of the
// share's process; what goes wrong is said on standard error. Nothing is thrown.
[[nodiscard]] int runWorker(const char* workDirectory, const char* number) noexcept;

}  // namespace orv::share
