#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Probe/MountTree.h"
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
  std::shared_ptr<const PathPattern> mask;  // null when the specification is a literal path
};

// Profiles that are bound to one filesystem at most: the walk numbers its actions in 16 bits, and
// the last number is the directory watch's.
inline constexpr std::size_t MAX_PROFILES = 65'535;

// A filesystem of the job that is mounted and answered with its capacity.
struct FSRef {
  Filesystem* filesystem = nullptr;
  std::string mountPoint;  // where the mount table has it
  MountRoot root;          // what was found there
  std::vector<Assoc> assocs;
  std::size_t leftOutProfiles = 0;          // beyond those that one walk can gather
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

// Ties a job's statistic profiles to what they are gathered on. Called by the filesystem scan, on
// its thread.
//
// The profile's type code decides (`sdType` read as a decimal number): 0 monitored directories
// only; 3 every filesystem and every monitored directory; 4 the filesystems that the profile lists;
// any other, every filesystem. A profile whose where clause does not parse is reported and skipped.

// Binds the profiles to filesystems and announces them in one message, but for those of code 3.
// `profiles` is the head of the job's chain. 0, or SCAN_INCOMPLETE when a clause does not parse.
[[nodiscard]] int bindProfiles(CuStatDef* profiles, Bindings& bindings);

// Binds the profiles to the monitored directories and announces those of code 0; nothing when no
// directory lies in a filesystem of the job. Called after `bindProfiles`, which parses the clauses
// of code 3. Result as there.
[[nodiscard]] int bindDirectoryProfiles(CuStatDef* profiles, Bindings& bindings);

// Ties a job's monitored directories to the filesystems that hold them. Called by the filesystem
// scan, on its thread.

// Binds every specification of the chain to every filesystem that it lies in, and brings its path
// into the system's form: "/" for "\", and whether it is a pattern. The filesystems' mount points
// get a "/" at their ends, also without any specification, so one of the mount point itself needs
// it, too.
//
// Mount points are compared without regard to case, as the server may write them in either; the
// walk itself is exact. A pattern that is not valid is reported and left out: SCAN_INCOMPLETE,
// else 0.
[[nodiscard]] int bindDirectories(MonDirSpec* directories, Bindings& bindings);

}  // namespace orv
