#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Scan/SelectNode.h"

namespace orv {

class CuStatDef;
class Filesystem;
class MonDirSpec;
class ResultsByFS;

// What the filesystem scan ties together for one job. The scan owns all of these records while
// `doScan` runs; the definition objects that they point at belong to the AgentScan.

// A profile's parsed selection; one per profile and job.
struct Tree {
  std::unique_ptr<SelectNode> selection;  // null admits everything
  CuStatDef* profile = nullptr;
};

// A profile bound to a filesystem: `results` receives this filesystem's figures. The profile owns
// it.
struct Assoc {
  CuStatDef* profile = nullptr;
  const Tree* tree = nullptr;
  ResultsByFS* results = nullptr;
};

// A monitored directory that lies in a filesystem.
struct MonDirSelection {
  MonDirSpec* dirSpec = nullptr;
  int depth = 0;  // below the mount point
};

// A filesystem of the job that is mounted and answered with its capacity.
struct FSRef {
  Filesystem* filesystem = nullptr;
  std::string source;      // device or export, as the mount table lists it
  std::string mountPoint;  // where the mount table has it
  std::vector<Assoc> assocs;
  std::vector<MonDirSelection> directories;
};

}  // namespace orv
