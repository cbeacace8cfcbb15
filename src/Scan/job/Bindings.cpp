#include "Scan/job/Bindings.h"

#include <algorithm>
#include <cstdlib>

#include "Common/ORVCommon/CommonAgentFactory.h"
#include "Probe/Filesystem.h"
#include "Probe/NasFiler.h"
#include "Scan/definition/AgentScan.h"
#include "Scan/definition/ComputerID.h"
#include "Scan/definition/CuStatDef.h"
#include "Scan/select/SelectParser.h"
#include "runtime/nls/MessageLog.h"
#include "runtime/ut/ScanPaths.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

// What a profile is for; every number but 0 and 4 means all filesystems of the job.
enum TypeCode : std::int64_t { DIRECTORIES_ONLY = 0, UNANNOUNCED = 3, LISTED_FILESYSTEMS = 4 };

std::int64_t typeCode(const CuStatDef& profile) {
  // A text that is no number counts as 0.
  return std::strtol(profile.sdType.c_str(), nullptr, 10);
}

// The name under which a profile appears in messages.
std::string profileName(const CuStatDef& profile) {
  return std::to_string(profile.sdID) + "." + profile.getSdName();
}

// The profiles that a message announces, a line each.
class Announcement final {
 public:
  void add(const CuStatDef& profile) {
    m_names += "\n" + withoutControlCharacters(profileName(profile));
  }
  void issue(const Message& message) const {
    if (!m_names.empty())
      issueMessage(message, {Insert::lines(m_names)});
  }

 private:
  std::string m_names;
};

// Parses the profile's clause into a new tree. Null, with a message, when it does not parse.
const Tree* parseSelection(CuStatDef& profile, Bindings& bindings) {
  auto tree = std::make_unique<Tree>();
  tree->profile = &profile;
  if (const std::string& clause = profile.getWhereClause(); !clause.empty()) {
    ParsedClause parsed = SelectParser().parse(clause);
    if (!parsed) {
      issueMessage(msg::STA0029E, {profileName(profile), std::to_string(parsed.error.position),
                                   parsed.error.found, parsed.error.expected});
      return nullptr;
    }
    tree->selection = std::move(parsed.node);
  }
  bindings.trees.push_back(std::move(tree));
  return bindings.trees.back().get();
}

void newFSAssoc(FSRef& ref, const Tree& tree) {
  // More would not fit the numbers by which the walk keeps its matching actions.
  if (ref.assocs.size() == MAX_PROFILES) {
    ++ref.leftOutProfiles;
    return;
  }
  CuStatDef& profile = *tree.profile;
  // Owned by the profile, which outlives the walk; the association only points to it.
  profile.sdResults.push_back(std::make_unique<ResultsByFS>(*ref.filesystem));
  ref.assocs.push_back({&profile, &tree, profile.sdResults.back().get()});
}

// Filesystems that are listed but not scanned get no result.
void bindListedFilesystems(const Tree& tree, const Bindings& bindings) {
  for (const std::int32_t fsID : tree.profile->listedFilesystems)
    if (const auto found = bindings.refsByID.find(fsID); found != bindings.refsByID.end())
      newFSAssoc(*found->second, tree);
}

// The tree of a profile that was bound to filesystems; null for one that was skipped.
const Tree* treeOf(const CuStatDef& profile, const Bindings& bindings) {
  for (const auto& tree : bindings.trees)
    if (tree->profile == &profile)
      return tree.get();
  return nullptr;
}

// The computer that a filesystem belongs to: its filer, or this one; -1 when that is not known.
std::int32_t owningComputer(const Filesystem& filesystem) {
  if (filesystem.nasFiler)
    return filesystem.nasFiler->nasComputerID;
  if (ComputerID::cachedCID)
    return *ComputerID::cachedCID;
  TRACE(TR_MAX, "FilesystemScan::doScan(...) : ERROR: 'ComputerID::cachedCID' is NULL.");
  return -1;
}

// Finds out whether the specification is a pattern of paths.
void maskedPath(MonDirSpec& dirSpec) {
  const std::string& path = dirSpec.getMdsPath();
  dirSpec.setMdsMaskedPath(path.find_first_of("*?[") != std::string::npos ||
                           path.find("/%/") != std::string::npos);
}

// The pattern of a masked path; null, with a message, when it is not valid.
std::shared_ptr<const PathPattern> compileMask(const std::string& path) {
  // Directories are met without a "/" at their ends; that of a last "%/" is part of it.
  const std::string_view mask = path.ends_with("/%/") ? path : withoutTrailingSlash(path);
  std::string error;
  std::shared_ptr<const PathPattern> pattern =
      PathPattern::compile(mask, PatternScope::PATH, error);
  if (!pattern)
    issueMessage(msg::STA0030E, {path, error});
  return pattern;
}

bool isOnComputer(const MonDirSpec& dirSpec, const Filesystem& filesystem) {
  // Without a number the specification is for every computer.
  const std::int32_t computer = dirSpec.getMdsComputerID();
  return computer < 1 || computer == owningComputer(filesystem) ||
         computer == filesystem.fsComputerID;
}

// Whether a path lies in the filesystem with that mount point.
bool liesBelow(std::string_view path, std::string_view mountPoint) {
  const int depth = pathDepth(path) - pathDepth(mountPoint);
  if (depth < 0 || (depth == 0 && findSlashes(path) != findSlashes(mountPoint)))
    return false;
  return equalIgnoringCase(path.substr(0, mountPoint.size()), mountPoint);
}

void bindDirectory(FSRef& ref, MonDirSpec& dirSpec,
                   const std::shared_ptr<const PathPattern>& mask) {
  if (ref.filesystem == nullptr) {
    TRACE(TR_MAX,
          "(if ( fsRef->filesystem != NULL )) == FALSE. There seems to be an error => continue "
          "loop without further processing.");
    return;
  }
  TRACE(TR_GENERAL, "(if ( fsRef->filesystem != NULL )) == TRUE. Assign the NAS Filer to <filer>.");
  const std::string& mountPoint = ref.filesystem->fsMountPoint;
  if (!isOnComputer(dirSpec, *ref.filesystem) || !liesBelow(dirSpec.getMdsPath(), mountPoint))
    return;
  TRACE(TR_GENERAL, "regionMatches(0, path, (dirSpec->mdsPath), 0, length) == TRUE");
  ref.directories.push_front({&dirSpec, mask});
  TRACE(TR_GENERAL, "Directory to Monitor: %s", dirSpec.getMdsPath().c_str());
}

}  // namespace

int bindProfiles(CuStatDef* profiles, Bindings& bindings) {
  TRACE(TR_GENERAL,
        "for(dCurrent = scanObject->asStats; dCurrent != NULL; dCurrent=dCurrent->sdNext)...");
  int rc = 0;
  Announcement announcement;
  for (CuStatDef* profile = profiles; profile != nullptr; profile = profile->sdNext) {
    if (!CommonAgentFactory::getCommonAgent()->isWindows)
      profile->sdWinOnlyFileType = false;
    const std::int64_t code = typeCode(*profile);
    if (code == DIRECTORIES_ONLY)
      continue;
    const Tree* tree = parseSelection(*profile, bindings);
    if (tree == nullptr) {
      rc = SCAN_INCOMPLETE;
      continue;
    }
    if (code == LISTED_FILESYSTEMS) {
      bindListedFilesystems(*tree, bindings);
    } else {
      for (const auto& ref : bindings.refs)
        newFSAssoc(*ref, *tree);
    }
    if (code != UNANNOUNCED)
      announcement.add(*profile);
    // Deliberate: results of filesystems name no clause.
    profile->setWhereClause("");
  }
  announcement.issue(msg::STA0026I);
  for (const auto& ref : bindings.refs) {
    if (ref->leftOutProfiles == 0)
      continue;
    issueMessage(msg::STA0031E, {ref->filesystem->fsMountPoint, std::to_string(MAX_PROFILES),
                                 std::to_string(ref->leftOutProfiles)});
    rc = SCAN_INCOMPLETE;
  }
  return rc;
}

int bindDirectoryProfiles(CuStatDef* profiles, Bindings& bindings) {
  TRACE_METHOD("bindDirectoryProfiles(...)");
  // Nothing to watch: clauses that nobody asks need not be valid either.
  if (std::ranges::all_of(bindings.refs, [](const auto& ref) { return ref->directories.empty(); }))
    return 0;
  int rc = 0;
  Announcement announcement;
  for (CuStatDef* profile = profiles; profile != nullptr; profile = profile->sdNext) {
    const std::int64_t code = typeCode(*profile);
    if (code != DIRECTORIES_ONLY && code != UNANNOUNCED)
      continue;
    // One that also serves filesystems was parsed with those, and its clause is gone from the
    // record by now.
    const Tree* tree = code == UNANNOUNCED ? treeOf(*profile, bindings)  //
                                           : parseSelection(*profile, bindings);
    if (tree == nullptr) {
      rc = SCAN_INCOMPLETE;
      continue;
    }
    TRACE(TR_GENERAL, "selection for monitored directories: %s",
          code == UNANNOUNCED ? "(DIR STAT)" : profileName(*profile).c_str());
    bindings.directoryProfiles.push_back(tree);
    if (code == DIRECTORIES_ONLY)
      announcement.add(*profile);
  }
  announcement.issue(msg::STA0027I);
  return rc;
}

int bindDirectories(MonDirSpec* directories, Bindings& bindings) {
  // Also without a directory: what a result calls a filesystem does not depend on what else the job
  // asks for.
  for (const auto& ref : bindings.refs)
    if (ref->filesystem != nullptr) {
      std::string& mountPoint = ref->filesystem->fsMountPoint;
      // One "/" however many the definition writes: below more of them the walk's paths would not
      // be those that directories are monitored by.
      mountPoint = withTrailingSlash(std::string(withoutTrailingSlash(mountPoint)));
    }
  TRACE(TR_GENERAL, "while ( dirSpec != NULL )...");
  int rc = 0;
  for (MonDirSpec* dirSpec = directories; dirSpec != nullptr; dirSpec = dirSpec->getMdsNext()) {
    // Definitions may come from hosts that divide paths otherwise.
    dirSpec->setMdsPath(replaceDelimiter(dirSpec->getMdsPath()));
    maskedPath(*dirSpec);
    std::shared_ptr<const PathPattern> mask;
    if (dirSpec->getMdsMaskedPath() && !(mask = compileMask(dirSpec->getMdsPath()))) {
      rc = SCAN_INCOMPLETE;
      continue;
    }
    for (const auto& ref : bindings.refs)
      bindDirectory(*ref, *dirSpec, mask);
  }
  return rc;
}

}  // namespace orv
