#pragma once

#include <optional>
#include <string>

#include "Probe/MountRoot.h"

namespace orv {

class StatThread;

// How one filesystem is walked, besides what is looked for. Made by the driver for the job and
// completed by the filesystem scan; nothing below looks for options of its own.
struct WalkOptions {
  int statTimeout = 0;    // seconds that a call on the filesystem may take; 0 for any time
  int helpers = 1;        // that read ahead of the walk; 1 for none, see walkThreads
  std::string localRoot;  // of a tree that the server knows under another name, or empty
  StatThread* statThread = nullptr;  // makes single calls where there is a time-out; not owned
  // What was found when the filesystem was matched: the walk fails when its root is another one by
  // then. Without it whatever is there is walked, and told from other filesystems by its device.
  std::optional<MountRoot> root = {};
};

}  // namespace orv
