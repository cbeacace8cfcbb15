#include "Scan/job/FilesystemScan.h"

#include <algorithm>
#include <chrono>

#include "Common/ORVCommon/CommonAgentFactory.h"
#include "Common/format/GenericPrint.h"
#include "Scan/accumulate/CuStatAccum.h"
#include "Scan/accumulate/DirectoryWatch.h"
#include "Scan/definition/AgentScan.h"
#include "Scan/job/FilesystemNames.h"
#include "Scan/job/SpreadWalk.h"
#include "Scan/job/WalkSelections.h"
#include "Scan/results/CuStatResults.h"
#include "Scan/unix/ScannerUnix.h"
#include "runtime/nls/MessageLog.h"
#include "runtime/thrd/StopFlag.h"
#include "runtime/unx/ProgressPage.h"
#include "runtime/ut/ScanPaths.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"

namespace orv {

namespace {

constexpr int RC_NOTHING_TO_SCAN = 12;
constexpr int RC_FAILED = 8;

bool isNetworkSource(const std::string& source) {
  return source.find(':') != std::string::npos;
}

}  // namespace

// A progress file that cannot be mapped is nobody's loss but the watcher's.
FilesystemScan::FilesystemScan(ScanOptions options)
    : m_options(std::move(options)),
      m_progress(m_options.progressFile.empty() ? nullptr
                                                : ProgressPage::open(m_options.progressFile)),
      m_userTable(m_uberTable) {}

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
  m_nfsTimeout = std::max(nfsTimeout, 0);
  if (const int code = prepare(*job); code != 0)
    return code;
  for (const auto& ref : m_bindings.refs)
    walkFilesystem(*ref);
  TRACE(TR_GENERAL, "end of final loop over filesystem!");
  TRACE(TR_GENERAL, "%zu filesystems were scanned.", m_scannedCount);
  // Frees the clauses; what was gathered stays with the profiles until the job ends.
  m_bindings = Bindings();
  m_userTable.cleanUP();
  restoreFakes();
  // They were arranged for the walks; whoever reads them afterwards looks for numbers.
  sortFilesystemsByID(*job->getFilesystems());
  return m_rc;
}

int FilesystemScan::doShare(AgentScan* job, const share::Share& share, share::StateWriter& state,
                            const std::string& temporary,
                            const std::function<void(bool)>& walking) {
  if (const int code = prepare(*job); code != 0)
    return code;
  if (m_bindings.refs.empty() || !mayBeSpread(*m_bindings.refs.front()))
    return RC_FAILED;
  const WalkSetting own = setting();
  FSRef& ref = *m_bindings.refs.front();
  // Where the filesystem is not mounted lies an empty directory: a share would be counted as empty.
  if (share.header.root != share::RootMark{ref.root.inode, ref.root.magic})
    throw share::StateError("walk " + ref.filesystem->fsMountPoint +
                            ": on this node it is not the filesystem that is scanned");
  walking(true);
  const auto start = std::chrono::steady_clock::now();
  ShareWalk walk(ref, own, share, state, temporary);
  m_rc = walk.walk();
  reportFailedLookups(ref);
  walking(false);
  // Unclosed otherwise: a walk that failed leaves no state.
  if (m_rc <= SCAN_INCOMPLETE)
    state.close({walk.entries(), m_rc,
                 std::chrono::duration_cast<std::chrono::milliseconds>(
                     std::chrono::steady_clock::now() - start)
                     .count()});
  return m_rc;
}

// What comes before the walks. 0, or the code that the job ends with.
int FilesystemScan::prepare(AgentScan& job) {
  m_profiles = job.getStatistics();
  job.setFilesystems(arrangeFilesystems(job.takeFilesystems()));
  if (!CommonAgentFactory::getCommonAgent()->isWindows) {
    TRACE(TR_GENERAL,
          "(if(!CommonAgentFactory::getCommonAgent()->isWindows)) == TRUE. Calling "
          "<makeMountsMap(...)> ...");
    m_mountTree = MountTree::read();
    // The code is told and not used: an empty map says all that matters.
    const int mountsCode = makeMountsMap(m_mounts);
    TRACE(TR_GENERAL, "Call to <makeMountsMap> finished. Return code = %d.", mountsCode);
  }
  // Without a mount table nothing can be matched, so nothing is said of single filesystems either.
  if (m_mounts.empty())
    return RC_NOTHING_TO_SCAN;
  matchFilesystems(job);
  // The walks have helpers of their own.
  m_statThread.cleanUp();
  if (m_bindings.refs.empty()) {
    TRACE(TR_MAX, "no filesystems.");
    issueMessage(msg::STA0647E);
    return RC_NOTHING_TO_SCAN;
  }
  // Profiles before directories: those of code 3 serve both and are parsed here.
  raise(bindProfiles(m_profiles, m_bindings));
  if (const int lockStatus = lock(&job); lockStatus != 0) {
    TRACE(TR_MAX, "return value <lockStatus> == %d. Leaving method.", lockStatus);
    return lockStatus;
  }
  raise(bindDirectories(job.getDirectories(), m_bindings));
  raise(bindDirectoryProfiles(m_profiles, m_bindings));
  return 0;
}

WalkSetting FilesystemScan::setting() noexcept {
  return {m_bindings, m_profiles, m_userTable, m_fileTypes, m_options.walkThreads};
}

// A state is of one filesystem, and what has a time-out or another name here is not opened below
// its root.
bool FilesystemScan::mayBeSpread(const FSRef& ref) const {
  const char* reason = nullptr;
  if (m_bindings.refs.size() != 1)
    reason = "the job has several filesystems";
  else if (m_nfsTimeout > 0)
    reason = "calls may take some time only";
  else if (ref.filesystem->nasFiler)
    reason = "it is known by another name here";
  if (reason != nullptr)
    issueMessage(msg::STA0567E, {ref.filesystem->fsMountPoint, reason, m_options.spread.work});
  return reason == nullptr;
}

int FilesystemScan::runSpread(FSRef& ref) {
  if (!mayBeSpread(ref))
    return RC_FAILED;
  const WalkSetting own = setting();
  return SpreadWalk(ref, own, m_options.spread, m_progress.get()).walk();
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
  return SCAN_INCOMPLETE;
}

bool FilesystemScan::handleMounts(MountsMap& map) {
  TRACE_METHOD("handleMounts(...)");
  Mounts mounts(m_options.mountTable);
  if (!mounts.openMnttab()) {
    TRACE(TR_ERROR, "failed to open mount tab <open Mnttab()>.");
    return false;
  }
  while (mounts.nextMount()) {
    const MountEntry& entry = mounts.current();
    // Of two at one place the later one is in force: it replaces the other here.
    map[entry.mountPoint] = entry;
    // A definition may name a network filesystem by its source: "host:export" stands for the mount.
    if (isNetworkSource(entry.source))
      map[entry.source] = entry;
  }
  m_excluded = mounts.excluded();
  if (map.empty())
    issueMessage(msg::STA0563E, {m_options.mountTable, "it lists nothing that can be scanned"});
  return true;
}

void FilesystemScan::matchFilesystems(AgentScan& job) {
  for (const auto& filesystem : *job.getFilesystems()) {
    matchFilesystem(*filesystem);
    throwIfStopped();
  }
}

void FilesystemScan::matchFilesystem(Filesystem& filesystem) {
  const bool wasFake = filesystem.fsType == Filesystem::TYPE_FAKE;
  TRACE(TR_GENERAL, "CommonAgentFactory::getCommonAgent() is unix!");
  if (m_nfsTimeout != 0)
    TRACE(TR_GENERAL, "NFS Timeout enabled, timeout %d seconds\n", m_nfsTimeout);
  const MountEntry* entry = findMount(filesystem);
  if (entry == nullptr) {
    const auto excluded =
        m_excluded.find(std::string(withoutTrailingSlash(filesystem.fsMountPoint)));
    issueMessage(msg::STA0103W,
                 {filesystem.fsMountPoint, excluded == m_excluded.end()
                                               ? "it is not mounted"
                                               : "its type " + excluded->second + " never is"});
    filesystem.fsScanned = false;
    raise(SCAN_INCOMPLETE);
    return;
  }
  auto ref = std::make_unique<FSRef>();
  filesystem.fsScanned = examine(*entry, filesystem, ref->root);
  if (!filesystem.fsScanned) {
    raise(SCAN_INCOMPLETE);
    return;
  }
  if (wasFake) {
    TRACE(TR_GENERAL, "if(wasFake) == TRUE");
    m_fakes.push_back(&filesystem);
  }
  ref->filesystem = &filesystem;
  ref->mountPoint = entry->mountPoint;
  // Two records of one number were refused when the driver locked them, so none is lost here.
  m_bindings.refsByID[filesystem.fsID] = ref.get();
  m_bindings.refs.push_back(std::move(ref));
  ++m_scannedCount;
}

// Whether the filesystem is there and answers; reported otherwise.
bool FilesystemScan::examine(const MountEntry& entry, Filesystem& filesystem, MountRoot& root) {
  const std::string& mountPoint = entry.mountPoint;
  std::string reason;
  // First of all: under a hidden mount point it is the other filesystem that would answer.
  if (const std::string other = m_mountTree.hiddenBy(mountPoint); !other.empty()) {
    reason = "the filesystem mounted later on " + other + " hides it";
  } else if (Mounts::statFS(entry, filesystem, m_nfsTimeout, m_statThread) != 0) {
    return false;
  } else if (const int error = examineMountRoot(mountPoint, m_nfsTimeout, &m_statThread, root);
             error != 0) {
    reason = "examine its root: " + errnoText(error);
  } else if (m_mountTree.isMounted(mountPoint) && !root.isRootOfMount) {
    // Unmounted since the table was read: what lies there now is another filesystem's.
    reason = "it was unmounted since the job began";
  }
  if (!reason.empty())
    issueMessage(msg::STA0529E, {qualifiedFSName(&filesystem), reason});
  return reason.empty();
}

const MountEntry* FilesystemScan::findMount(const Filesystem& filesystem) const {
  // The first that is mounted counts: the names come from the most to the least exact.
  for (const std::string& candidate : mountCandidates(filesystem)) {
    const auto found = m_mounts.find(candidate);
    if (found != m_mounts.end())
      return &found->second;
    TRACE(TR_GENERAL, "No entry found for %s! Tryin next...\n", candidate.c_str());
  }
  return nullptr;
}

std::unique_ptr<DirectoryWatch> makeWatch(const FSRef& ref, const Bindings& bindings,
                                          WalkSelections& selections, PartKeeper* keeper) {
  if (ref.directories.empty() || bindings.directoryProfiles.empty())
    return nullptr;
  auto watch = std::make_unique<DirectoryWatch>(*ref.filesystem, keeper);
  for (const Tree* tree : bindings.directoryProfiles)
    watch->addProfile(*tree->profile, selections.of(*tree));
  for (const MonDirSelection& directory : ref.directories) {
    const MonDirSpec& spec = *directory.dirSpec;
    if (directory.mask)
      watch->addMask(*directory.mask, spec.getMdsID());
    else
      watch->addDirectory(spec.getMdsPath(), spec.getMdsID());
  }
  return watch;
}

void FilesystemScan::walkFilesystem(FSRef& ref) {
  issueMessage(msg::STA0025I, {qualifiedFSName(ref.filesystem)});
  // A directory service that was away during one filesystem may be back for the next.
  m_userTable.retryFailures();
  const int result = m_options.spread.work.empty() ? runScanner(ref) : runSpread(ref);
  reportFailedLookups(ref);
  const bool failed = result > SCAN_INCOMPLETE || result < 0;
  // One filesystem that failed is one that is left out: the job goes on with the others.
  raise(failed ? SCAN_INCOMPLETE : result);
  // Before giving up: a missing summary must raise the code also where the walk failed.
  copyCapacity(ref);
  // A walk that failed leaves nothing but the filesystem's own record.
  if (failed)
    giveUp(ref);
  printData(m_print, ref);
}

// Walks the filesystem with one accumulator container per bound profile and hands each one's
// results to the profile.
int FilesystemScan::runScanner(FSRef& ref) {
  WalkSelections selections;
  std::vector<std::unique_ptr<CuStatAccum>> containers;
  std::vector<SelectedAction> actions;
  for (const Assoc& assoc : ref.assocs) {
    // A container each, also for profiles that gather the same: their clauses admit other entries.
    containers.push_back(std::make_unique<CuStatAccum>());
    containers.back()->buildAccum(*assoc.profile, *ref.filesystem);
    actions.push_back({containers.back().get(), &selections.of(*assoc.tree)});
  }
  const auto watch = makeWatch(ref, m_bindings, selections, nullptr);
  // The watch comes last, so that a profile's own statistics see a directory before it.
  if (watch)
    actions.push_back({watch.get(), nullptr});
  WalkOptions options{m_nfsTimeout, m_options.walkThreads, {}, &m_statThread, ref.root};
  // A filer's export is known to the server by another path than the one it is mounted at here.
  if (ref.filesystem->nasFiler)
    options.localRoot = ref.mountPoint;
  ScannerUnix scanner(*ref.filesystem, std::move(actions), m_userTable, m_fileTypes,
                      std::move(options));
  scanner.setProgress(m_progress.get());
  const int result = scanner.scan();
  // The records outlive the accumulators: the profile keeps them until the result is written.
  for (std::size_t i = 0; i < containers.size(); ++i)
    ref.assocs[i].results->rfResults = containers[i]->takeResults();
  return result;
}

// Nobody who cannot be looked up is taken for an orphan, whose files people delete; so the rankings
// of orphans may lack some.
void FilesystemScan::reportFailedLookups(const FSRef& ref) {
  if (m_userTable.failureCount() == 0)
    return;
  issueMessage(msg::STA0136W,
               {qualifiedFSName(ref.filesystem), std::to_string(m_userTable.failureCount()),
                m_userTable.firstFailure()});
  raise(SCAN_INCOMPLETE);
}

// The first profile's summary carries the filesystem's capacity; a filesystem without one is not
// fully described.
void FilesystemScan::copyCapacity(FSRef& ref) {
  CuStatResults* results =
      ref.assocs.empty() ? nullptr : ref.assocs.front().results->rfResults.get();
  if (results == nullptr || !results->srSummary) {
    raise(SCAN_INCOMPLETE);
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
  // At once and not at the job's end: another scan may take the filesystem while this one goes on.
  unlockOne(ref.filesystem);
  if (m_scannedCount > 0)
    --m_scannedCount;
}

void FilesystemScan::removeReferencesTo(FSRef& ref) {
  // The results of the other filesystems stay: they were printed, or still will be.
  const auto isOfFilesystem = [&ref](const auto& results) {
    return &results->filesystem() == ref.filesystem;
  };
  for (const auto& tree : m_bindings.trees)
    std::erase_if(tree->profile->sdResults, isOfFilesystem);
  ref.assocs.clear();
  ref.directories.clear();
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
  for (const Tree* tree : m_bindings.directoryProfiles) {
    std::vector<ResultsByFS*> results;
    for (const auto& entry : tree->profile->sdResults)
      if (entry->monDir() != nullptr && &entry->filesystem() == ref.filesystem)
        results.push_back(entry.get());
    tree->profile->printData(print, results);
  }
}

int FilesystemScan::lock(const AgentScan*) {
  // The driver has locked all filesystems before it gets here, and unlocks them after.
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
    // It was scanned as what is mounted there; whoever sent the definition gets it back as it was.
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
