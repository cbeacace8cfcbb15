#include "Scan/FilesystemScan.h"

#include <algorithm>
#include <cstdlib>

#include "Common/GenericPrint.h"
#include "Common/ORVCommon/CommonAgentFactory.h"
#include "Probe/NasFiler.h"
#include "Scan/AgentScan.h"
#include "Scan/ComputerID.h"
#include "Scan/CuStatAccum.h"
#include "Scan/CuStatResults.h"
#include "Scan/DirectoryWatch.h"
#include "Scan/FilesystemNames.h"
#include "Scan/ResultsByFS.h"
#include "Scan/ScanPaths.h"
#include "Scan/SelectParser.h"
#include "Scan/unix/ScannerUnix.h"
#include "common/nls/MessageLog.h"
#include "common/ut/Text.h"
#include "common/ut/Trace.h"

namespace orv {
namespace {

constexpr int RC_INCOMPLETE = 4;
constexpr int RC_NOTHING_TO_SCAN = 12;

// Profile type codes (`sdType` as a number). Any other code means every filesystem.
constexpr std::int64_t DIRECTORIES_ONLY = 0;
constexpr std::int64_t UNANNOUNCED = 3;
constexpr std::int64_t LISTED_FILESYSTEMS = 4;

std::int64_t typeCode(const CuStatDef& profile) {
  return std::strtol(profile.sdType.c_str(), nullptr, 10);
}

// The name under which a profile appears in messages.
std::string profileName(const CuStatDef& profile) {
  return std::to_string(profile.sdID) + "." + profile.getSdName();
}

// Whether a directory specification is a pattern of paths.
bool isMasked(const std::string& path) {
  return path.find_first_of("*?[") != std::string::npos || path.find("%/") != std::string::npos;
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

bool isNetworkSource(const std::string& source) {
  return source.find(':') != std::string::npos;
}

}  // namespace

FilesystemScan::FilesystemScan() : m_userTable(m_uberTable) {}

FilesystemScan::~FilesystemScan() = default;

void FilesystemScan::setGenericPrint(GenericPrint* print) {
  if (print == nullptr) {
    TRACE(TR_MAX, "parameter <GenericPrint> is NULL");
    return;
  }
  m_print = print;
}

void FilesystemScan::setUnlocker(std::function<void(const Filesystem&)> unlocker) {
  m_unlocker = std::move(unlocker);
}

int FilesystemScan::doScan(AgentScan* job, int nfsTimeout) {
  TRACE_METHOD("doScan(...)");
  m_nfsTimeout = nfsTimeout;
  job->setFilesystems(arrangeFilesystems(job->takeFilesystems()));
  if (!CommonAgentFactory::getCommonAgent()->isWindows) {
    TRACE(TR_GENERAL,
          "(if(!CommonAgentFactory::getCommonAgent()->isWindows)) == TRUE. Calling "
          "<makeMountsMap(...)> ...");
    const int mountsCode = makeMountsMap(m_mounts);
    TRACE(TR_GENERAL, "Call to <makeMountsMap> finished. Return code = %d.", mountsCode);
  }
  if (m_mounts.empty())
    return RC_NOTHING_TO_SCAN;
  matchFilesystems(*job);
  if (m_refs.empty()) {
    TRACE(TR_MAX, "no filesystems.");
    issueMessage(msg::STA0647E);
    return RC_NOTHING_TO_SCAN;
  }
  bindProfiles(*job);
  if (const int lockStatus = lock(job); lockStatus != 0) {
    TRACE(TR_MAX, "return value <lockStatus> == %d. Leaving method.", lockStatus);
    return lockStatus;
  }
  bindDirectories(*job);
  bindDirectoryProfiles(*job);
  for (const auto& ref : m_refs)
    walkFilesystem(*ref);
  TRACE(TR_GENERAL, "end of final loop over filesystem!");
  m_refs.clear();
  m_trees.clear();
  m_userTable.cleanUP();
  restoreFakes();
  sortFilesystemsByID(*job->getFilesystems());
  return m_rc;
}

void FilesystemScan::raise(int rc) noexcept {
  m_rc = std::max(m_rc, rc);
}

int FilesystemScan::makeMountsMap(MountsMap& map) {
  TRACE_METHOD("makeMountsMap(...)");
  map.clear();
  if (handleMounts(map))
    return 0;
  TRACE(TR_MAX, "handleMounts(...) returned false");
  return RC_INCOMPLETE;
}

bool FilesystemScan::handleMounts(MountsMap& map) {
  TRACE_METHOD("handleMounts(...)");
  Mounts mounts;
  if (!mounts.openMnttab()) {
    TRACE(TR_ERROR, "failed to open mount tab <open Mnttab()>.");
    return false;
  }
  while (mounts.nextMount()) {
    const MountEntry& entry = mounts.current();
    map[entry.mountPoint] = entry;
    if (isNetworkSource(entry.source))
      map[entry.source] = entry;
  }
  return true;
}

void FilesystemScan::matchFilesystems(AgentScan& job) {
  for (const auto& filesystem : *job.getFilesystems())
    matchFilesystem(*filesystem);
}

void FilesystemScan::matchFilesystem(Filesystem& filesystem) {
  const bool wasFake = filesystem.fsType == Filesystem::TYPE_FAKE;
  TRACE(TR_GENERAL, "CommonAgentFactory::getCommonAgent() is unix!");
  if (m_nfsTimeout != 0)
    TRACE(TR_GENERAL, "NFS Timeout enabled, timeout %d seconds\n", m_nfsTimeout);
  const MountEntry* entry = findMount(filesystem);
  if (entry == nullptr) {
    issueMessage(msg::STA0103W, {filesystem.fsMountPoint});
    filesystem.fsScanned = false;
    raise(RC_INCOMPLETE);
    return;
  }
  filesystem.fsScanned = Mounts::statFS(*entry, filesystem, m_nfsTimeout) == 0;
  if (!filesystem.fsScanned) {
    raise(RC_INCOMPLETE);
    return;
  }
  if (wasFake) {
    TRACE(TR_GENERAL, "if(wasFake) == TRUE");
    m_fakes.push_back(&filesystem);
  }
  auto ref = std::make_unique<FSRef>();
  ref->filesystem = &filesystem;
  ref->source = entry->source;
  ref->mountPoint = entry->mountPoint;
  m_refsByID[filesystem.fsID] = ref.get();
  m_refs.push_back(std::move(ref));
  ++m_scannedCount;
}

const MountEntry* FilesystemScan::findMount(const Filesystem& filesystem) const {
  for (const std::string& candidate : mountCandidates(filesystem)) {
    const auto found = m_mounts.find(candidate);
    if (found != m_mounts.end())
      return &found->second;
    TRACE(TR_GENERAL, "No entry found for %s! Tryin next...\n", candidate.c_str());
  }
  return nullptr;
}

void FilesystemScan::bindProfiles(AgentScan& job) {
  TRACE(TR_GENERAL,
        "for(dCurrent = scanObject->asStats; dCurrent != NULL; dCurrent=dCurrent->sdNext)...");
  std::string names;
  for (CuStatDef* profile = job.getStatistics(); profile != nullptr; profile = profile->sdNext) {
    if (!CommonAgentFactory::getCommonAgent()->isWindows)
      profile->sdWinOnlyFileType = false;
    const std::int64_t code = typeCode(*profile);
    if (code == DIRECTORIES_ONLY)
      continue;
    const std::string name = profileName(*profile);
    if (!parseSelection(*profile, name))
      continue;
    bindProfile(*profile, *m_trees.back());
    if (code != UNANNOUNCED)
      names += "\n" + withoutControlCharacters(name);
    if (code == UNANNOUNCED)
      m_directoryTrees.push_back(m_trees.back().get());
    profile->setWhereClause("");
  }
  if (!names.empty())
    issueMessage(msg::STA0026I, {Insert::lines(names)});
}

// Parses the profile's clause into a new tree. False, with a message, when it does not parse.
bool FilesystemScan::parseSelection(CuStatDef& profile, const std::string& name) {
  const std::string& clause = profile.getWhereClause();
  auto tree = std::make_unique<Tree>();
  tree->profile = &profile;
  if (!clause.empty()) {
    ParsedClause parsed = SelectParser().parse(clause);
    if (!parsed) {
      issueMessage(msg::STA0029E, {name, std::to_string(parsed.error.position), parsed.error.found,
                                   parsed.error.expected});
      raise(RC_INCOMPLETE);
      return false;
    }
    tree->selection = std::move(parsed.node);
  }
  m_trees.push_back(std::move(tree));
  return true;
}

void FilesystemScan::bindProfile(CuStatDef& profile, const Tree& tree) {
  if (typeCode(profile) == LISTED_FILESYSTEMS) {
    bindListedFilesystems(profile, tree);
    return;
  }
  for (const auto& ref : m_refs) {
    profile.sdResults.push_back(std::make_unique<ResultsByFS>(*ref->filesystem));
    newFSAssoc(*ref, profile, tree, *profile.sdResults.back());
  }
}

// Binds the listed filesystems that are scanned; what lists another one is unlinked.
void FilesystemScan::bindListedFilesystems(CuStatDef& profile, const Tree& tree) {
  for (const std::int32_t fsID : profile.listedFilesystems) {
    const auto found = m_refsByID.find(fsID);
    if (found == m_refsByID.end())
      continue;
    profile.sdResults.push_back(std::make_unique<ResultsByFS>(*found->second->filesystem));
    newFSAssoc(*found->second, profile, tree, *profile.sdResults.back());
  }
}

void FilesystemScan::newFSAssoc(FSRef& ref, CuStatDef& profile, const Tree& tree,
                                ResultsByFS& results) {
  ref.assocs.push_back(Assoc{&profile, &tree, &results});
}

void FilesystemScan::bindDirectories(AgentScan& job) {
  TRACE(TR_GENERAL, "while ( dirSpec != NULL )...");
  if (job.getDirectories() == nullptr)
    return;
  for (const auto& ref : m_refs)
    ref->filesystem->fsMountPoint = withTrailingSlash(ref->filesystem->fsMountPoint);
  for (MonDirSpec* dirSpec = job.getDirectories(); dirSpec != nullptr;
       dirSpec = dirSpec->getMdsNext()) {
    dirSpec->setMdsPath(replaceDelimiter(dirSpec->getMdsPath()));
    dirSpec->setMdsMaskedPath(isMasked(dirSpec->getMdsPath()));
    bindDirectory(*dirSpec);
  }
}

// Binds the directory to every filesystem that it lies in. Mount points are compared without regard
// to case, as the server may write them in either; the walk itself is exact.
void FilesystemScan::bindDirectory(MonDirSpec& dirSpec) {
  const std::string& path = dirSpec.getMdsPath();
  for (const auto& ref : m_refs) {
    const Filesystem& filesystem = *ref->filesystem;
    const std::int32_t computer = dirSpec.getMdsComputerID();
    if (computer >= 1 && computer != owningComputer(filesystem) &&
        computer != filesystem.fsComputerID)
      continue;
    const std::string& mountPoint = filesystem.fsMountPoint;
    const int depth = pathDepth(path) - pathDepth(mountPoint);
    if (depth < 0 || (depth == 0 && findSlashes(path) != findSlashes(mountPoint)))
      continue;
    if (!equalIgnoringCase(std::string_view(path).substr(0, mountPoint.size()), mountPoint))
      continue;
    TRACE(TR_GENERAL, "regionMatches(0, path, (dirSpec->mdsPath), 0, length) == TRUE");
    ref->directories.insert(ref->directories.begin(), {&dirSpec, depth});
    TRACE(TR_GENERAL, "Directory to Monitor: %s", path.c_str());
  }
}

// Collects the profiles for monitored directories: those of code 3, parsed with the filesystem
// profiles, and those of code 0.
void FilesystemScan::bindDirectoryProfiles(AgentScan& job) {
  if (std::all_of(m_refs.begin(), m_refs.end(),
                  [](const auto& ref) { return ref->directories.empty(); }))
    return;
  std::string names;
  for (CuStatDef* profile = job.getStatistics(); profile != nullptr; profile = profile->sdNext) {
    if (typeCode(*profile) != DIRECTORIES_ONLY)
      continue;
    const std::string name = profileName(*profile);
    if (!parseSelection(*profile, name))
      continue;
    m_directoryTrees.push_back(m_trees.back().get());
    names += "\n" + withoutControlCharacters(name);
  }
  if (!names.empty())
    issueMessage(msg::STA0027I, {Insert::lines(names)});
}

std::unique_ptr<DirectoryWatch> FilesystemScan::makeWatch(FSRef& ref) {
  if (ref.directories.empty() || m_directoryTrees.empty())
    return nullptr;
  auto watch = std::make_unique<DirectoryWatch>(*ref.filesystem);
  for (const Tree* tree : m_directoryTrees)
    watch->addProfile(*tree->profile, tree->selection.get());
  for (const MonDirSelection& directory : ref.directories) {
    const MonDirSpec& spec = *directory.dirSpec;
    std::string error;
    if (!spec.getMdsMaskedPath()) {
      watch->addDirectory(spec.getMdsPath(), spec.getMdsID());
    } else if (!watch->addMask(spec.getMdsPath(), spec.getMdsID(), error)) {
      issueMessage(msg::STA0030E, {spec.getMdsPath(), error});
      raise(RC_INCOMPLETE);
    }
  }
  return watch;
}

void FilesystemScan::walkFilesystem(FSRef& ref) {
  issueMessage(msg::STA0025I, {qualifiedFSName(ref.filesystem)});
  int result = runScanner(ref);
  const bool failed = result > RC_INCOMPLETE || result < 0;
  raise(failed ? RC_INCOMPLETE : result);
  copyCapacity(ref);
  // A walk that failed leaves nothing but the filesystem's own record.
  if (failed)
    giveUp(ref);
  printData(m_print, ref);
}

// Walks the filesystem with one accumulator container per bound profile and hands each one's
// results to the profile.
int FilesystemScan::runScanner(FSRef& ref) {
  std::vector<std::unique_ptr<CuStatAccum>> containers;
  std::vector<SelectedAction> actions;
  for (const Assoc& assoc : ref.assocs) {
    containers.push_back(std::make_unique<CuStatAccum>());
    containers.back()->buildAccum(*assoc.profile, *ref.filesystem);
    actions.push_back({containers.back().get(), assoc.tree->selection.get()});
  }
  const std::string localRoot = ref.filesystem->nasFiler ? ref.mountPoint : std::string();
  ScannerUnix scanner(*ref.filesystem, std::move(actions), m_userTable, m_fileTypes, m_nfsTimeout,
                      localRoot);
  const auto watch = makeWatch(ref);
  scanner.setWatch(watch.get());
  const int result = scanner.scan();
  for (std::size_t i = 0; i < containers.size(); ++i)
    ref.assocs[i].results->rfResults = containers[i]->takeResults();
  return result;
}

// The first profile's summary carries the filesystem's capacity; a filesystem without one is not
// fully described.
void FilesystemScan::copyCapacity(FSRef& ref) {
  CuStatResults* results =
      ref.assocs.empty() ? nullptr : ref.assocs.front().results->rfResults.get();
  if (results == nullptr || !results->srSummary) {
    raise(RC_INCOMPLETE);
    return;
  }
  SSummary& summary = *results->srSummary;
  summary.sumCapacity = ref.filesystem->fsCapacity;
  summary.sumFreeSpace = ref.filesystem->fsFreeSpace;
  summary.sumUsedSpace = ref.filesystem->fsUsedSpace;
}

void FilesystemScan::giveUp(FSRef& ref) {
  removeReferencesTo(ref);
  ref.filesystem->fsScanned = false;
  unlockOne(ref.filesystem);
  if (m_scannedCount > 0)
    --m_scannedCount;
}

void FilesystemScan::removeReferencesTo(FSRef& ref) {
  const auto isOfFilesystem = [&ref](const auto& results) {
    return &results->filesystem() == ref.filesystem;
  };
  for (const auto& tree : m_trees)
    std::erase_if(tree->profile->sdResults, isOfFilesystem);
  ref.assocs.clear();
}

void FilesystemScan::printData(GenericPrint* print, const FSRef& ref) const {
  TRACE_METHOD("printData(...)");
  if (print == nullptr) {
    TRACE(TR_MAX, "parameter <GenericPrint> is NULL");
    return;
  }
  ref.filesystem->printData(*print);
  for (const MonDirSelection& directory : ref.directories)
    directory.dirSpec->printData(*print);
  for (const Assoc& assoc : ref.assocs)
    assoc.profile->printData(*print, {&assoc.results, 1});
  printDirectoryResults(*print, ref);
}

// Each profile for monitored directories once, with the results of all directories.
void FilesystemScan::printDirectoryResults(GenericPrint& print, const FSRef& ref) const {
  if (ref.directories.empty())
    return;
  for (const Tree* tree : m_directoryTrees) {
    std::vector<ResultsByFS*> results;
    for (const auto& entry : tree->profile->sdResults)
      if (entry->monDir() != nullptr && &entry->filesystem() == ref.filesystem)
        results.push_back(entry.get());
    tree->profile->printData(print, results);
  }
}

int FilesystemScan::lock(const AgentScan*) {
  TRACE(TR_GENERAL, "WARNING: Nothing implemented in body of FilesystemScan::lock().");
  return 0;
}

int FilesystemScan::unlock(const AgentScan*) {
  TRACE(TR_GENERAL, "WARNING: Nothing implemented in body of FilesystemScan::unlock().");
  return 0;
}

void FilesystemScan::unlockOne(const Filesystem* pFilesystem) const {
  if (pFilesystem == nullptr) {
    TRACE(TR_MAX, "ERROR: The Filesystem reference <pFilesystem> is NULL. Leaving method.");
    return;
  }
  if (m_unlocker)
    m_unlocker(*pFilesystem);
}

void FilesystemScan::restoreFakes() {
  for (Filesystem* filesystem : m_fakes) {
    filesystem->fsType = Filesystem::TYPE_FAKE;
    filesystem->fsCapacity = 0;
    filesystem->fsFreeSpace = 0;
    filesystem->fsUsedSpace = 0;
    filesystem->fsPhysicalSize = 0;
    filesystem->fsMaxFiles = 0;
    filesystem->fsUsedInodes = 0;
    filesystem->fsFreeInodes = 0;
  }
}

}  // namespace orv
