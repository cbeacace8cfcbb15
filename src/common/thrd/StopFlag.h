#pragma once

#include <atomic>

namespace orv {

// The process-wide stop flag: set by the signal handler or by an abort from the server, polled by
// the directory reader before each read. Lock-free, so that a signal handler may set it.
inline std::atomic<bool> agentStop{false};
static_assert(std::atomic<bool>::is_always_lock_free);

}  // namespace orv
