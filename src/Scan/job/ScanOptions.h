#pragma once

#include <string>

#include "Probe/Mounts.h"
#include "Scan/share/Engine.h"

namespace orv {

// What the environment tells the job, besides its command line and its definition. Read once, by
// the driver.
struct ScanOptions {
  int walkThreads = 1;                           // helpers that read ahead of the walk; 1 for none
  std::string mountTable = Mounts::MOUNT_TABLE;  // the file that lists what is mounted
  std::string progressFile = {};                 // where the walk shows how far it is, or empty
  share::SpreadOptions spread = {};              // whether, and how, others walk for the job
};

// The only place where the program looks at its environment for options.
[[nodiscard]] ScanOptions scanOptionsOfEnvironment();

}  // namespace orv
