#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Scan/select/PathPattern.h"
#include "Scan/select/SelectNode.h"

namespace orv {

class CuStatDef;
class Filesystem;
class MonDirSpec;
class ResultsByFS;

// What the filesystem scan ties together for one job. The scan owns all of these records while
// `doScan` runs; the definition objects that they point at belong to the AgentScan.

// Return code of a job or of one of its steps when some part could not be scanned or gathered.
inline constexpr int SCAN_INCOMPLETE = 4;

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
  int depth = 0;                            // below the mount point
  std::shared_ptr<const PathPattern> mask;  // null when the specification is a literal path
};

// A filesystem of the job that is mounted and answered with its capacity.
struct FSRef {
  Filesystem* filesystem = nullptr;
  std::string source;      // device or export, as the mount table lists it
  std::string mountPoint;  // where the mount table has it
  std::vector<Assoc> assocs;
  std::deque<MonDirSelection> directories;  // the one bound last comes first
};

// All of it.
struct Bindings {
  std::vector<std::unique_ptr<FSRef>> refs;    // in the order of the job's filesystem list
  std::map<std::int32_t, FSRef*> refsByID;     // by fsID
  std::vector<std::unique_ptr<Tree>> trees;    // in the order in which they were parsed
  std::vector<const Tree*> directoryProfiles;  // those gathered for every monitored directory, in
                                               // the profiles' order
};

}  // namespace orv
