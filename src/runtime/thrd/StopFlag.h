#pragma once

#include <atomic>

namespace orv {

// The process-wide stop flag: set by the signal handler or by an abort from the server, polled by
// the directory reader before each read. Lock-free, so that a signal handler may set it.
inline std::atomic<bool> agentStop{false};
static_assert(std::atomic<bool>::is_always_lock_free);

// The signal that set the flag, until `traceCaughtSignal` has told it; 0 for none.
inline std::atomic<int> caughtSignal{0};
static_assert(std::atomic<int>::is_always_lock_free);

// Traces "Caught signal %d" for a signal caught since the last call. To be called outside signal
// handlers by whoever found the stop flag set.
void traceCaughtSignal();

// Throws the ScanAbortException* that ends the walk.
[[noreturn, gnu::cold]] void throwScanAbort();

// Asked before each entry and before the end of a directory.
inline void throwIfStopped() {
  if (agentStop.load(std::memory_order_relaxed)) [[unlikely]]
    throwScanAbort();
}

}  // namespace orv
