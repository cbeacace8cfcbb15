#include "Scan/accumulate/DirectoryWatch.h"

#include <span>

#include "Probe/Filesystem.h"
#include "Scan/definition/CuStatDef.h"
#include "Scan/entry/FileAttributes.h"
#include "Scan/walk/Place.h"
#include "Scan/walk/Scanner.h"
#include "runtime/ut/ScanPaths.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

template <typename Call>
void forEachTarget(MonDirAccum* head, Call call) {
  for (MonDirAccum* target = head; target != nullptr; target = target->nextTarget.get())
    call(*target);
}

// The directory's attributes come when the walk enters it.
std::shared_ptr<SMonDir> makeMonDir(const Scanner& scanner) {
  auto monDir = std::make_shared<SMonDir>();
  monDir->smFilesystem = &scanner.filesystem();
  monDir->smScanTime = scanner.filesystem().fsScanTime;
  return monDir;
}

}  // namespace

MonDirAccum::MonDirAccum(CuStatDef& profile, Filesystem& filesystem, ResultsByFSList& owner,
                         PartKeeper* keeper)
    : m_profile(profile), m_filesystem(filesystem), m_owner(owner), m_keeper(keeper) {}

void MonDirAccum::activate(std::shared_ptr<SMonDir> smonDir) {
  TRACE_METHOD("activate(...)");
  // Set before the accumulators are built: the calls below look at it to know that they are active.
  m_directory = std::move(smonDir);
  buildAccum(m_profile, m_filesystem);
  if (m_keeper != nullptr)
    gatherPart(m_keeper->makeFirstNames());
}

void MonDirAccum::resume(std::shared_ptr<SMonDir> smonDir, bool isInside) {
  activate(std::move(smonDir));
  if (isInside)
    beInside();
}

void MonDirAccum::endPart(FileAttributes* pDirInfo) {
  if (pDirInfo != nullptr)
    describe(*pDirInfo);
  deliver();
}

// The first profile that comes to the directory fills the shared record.
void MonDirAccum::describe(const FileAttributes& info) {
  if (m_directory->smFilesystemID != SMonDir::NOT_ENTERED)
    return;
  static_cast<FileAttributes&>(*m_directory) = info;
  m_directory->smFilesystemID = m_filesystem.fsID;
}

void MonDirAccum::actUpon(Scanner* pScanner, FileAttributes* pInfo) {
  if (!m_directory) {
    TRACE(TR_MAX, "WARNING: No method invoked since member attribute <directory> is NULL.");
    return;
  }
  CuStatAccum::actUpon(pScanner, pInfo);
}

void MonDirAccum::directoryEntered(FileAttributes* pDirInfo) {
  if (!m_directory || pDirInfo == nullptr) {
    TRACE(TR_MAX,
          "MonDirAccum::directoryEntered() : WARNING: No method invoked since member attribute "
          "<directory> or <pDirInfo> is NULL.");
    return;
  }
  CuStatAccum::directoryEntered(pDirInfo);
  if (depth() == 0)
    describe(*pDirInfo);
}

void MonDirAccum::directoryLeft() {
  if (!m_directory) {
    TRACE(TR_MAX,
          "MonDirAccum::directoryLeft() : WARNING: No method invoked since member attribute "
          "<directory> is NULL.");
    return;
  }
  CuStatAccum::directoryLeft();
  if (depth() < 0)
    deliver();
}

// Puts what was measured at the head of the profile's results.
void MonDirAccum::deliver() {
  // The directory delivered last comes first in the result.
  if (m_keeper != nullptr)
    m_keeper->keep(*this, m_profile, *m_directory);
  else
    m_owner.push_front(std::make_unique<ResultsByFS>(m_filesystem, m_directory, takeResults()));
  // The largest thing by far that an idle one would keep.
  releaseInodeTableMap();
  // Inactive again, for the next directory of this level.
  m_directory.reset();
}

Activator::Activator(std::int32_t mdsID) noexcept : FileAction("Activator"), m_mdsID(mdsID) {}

void Activator::actUpon(Scanner* pScanner, FileAttributes* pDirInfo) {
  TRACE_METHOD("actUpon(...)");
  if (m_targets == nullptr) {
    TRACE(TR_MAX,
          "Activator::actUpon() : ERROR: The class reference <targets> of type <MonDirAccum*> is "
          "NULL. Leaving method.");
    return;
  }
  if (pScanner == nullptr || pDirInfo == nullptr) {
    TRACE(TR_MAX, "Activator::actUpon() : ERROR: A parameter is NULL. Leaving method.");
    return;
  }
  // Another specification may have named this directory: then its measurement is joined, not begun.
  std::shared_ptr<SMonDir> monDir = m_targets->directory();
  if (!monDir) {
    monDir = makeMonDir(*pScanner);
    // All profiles of the level start together and share one record of the directory.
    for (MonDirAccum* target = m_targets; target != nullptr; target = target->nextTarget.get())
      target->activate(monDir);
  }
  // Every specification that names the directory is in its record: its owner looks for the number
  // of his own.
  monDir->smDirSpecs.push_back(m_mdsID);
}

void Activator::directoryEntered(FileAttributes*) {}

void Activator::directoryLeft() {}

DirectoryWatch::DirectoryWatch(Filesystem& filesystem, PartKeeper* keeper)
    : FileAction("DirectoryWatch"), m_filesystem(filesystem), m_keeper(keeper) {}

DirectoryWatch::~DirectoryWatch() {
  // One after the other: a job may have too many profiles for a chain of destructors.
  for (Targets& head : m_targets)
    while (head)
      head = std::move(head->nextTarget);
}

void DirectoryWatch::addProfile(CuStatDef& profile, EntrySelection& selection) {
  m_profiles.push_back({&profile, &selection});
}

void DirectoryWatch::addDirectory(std::string_view path, std::int32_t mdsID) {
  // Paths of the walk end without a "/", but for the root's.
  m_byPath[std::string(withoutTrailingSlash(path))].push_back(m_activators.size());
  m_activators.emplace_back(mdsID);
}

void DirectoryWatch::addMask(const PathPattern& mask, std::int32_t mdsID) {
  m_masks.push_back({&mask, m_activators.size()});
  m_activators.emplace_back(mdsID);
}

void DirectoryWatch::actUpon(Scanner* pScanner, FileAttributes* pInfo) {
  // Before counting: a monitored directory's own entry belongs to its figures.
  if (pInfo->faType == FT_DIRECTORY)
    activate(pScanner, pInfo);
  // Nearly every entry of nearly every scan ends here.
  if (m_active.empty())
    return;
  for (const std::size_t level : m_active) {
    MonDirAccum* target = m_targets[level].get();
    for (const Profile& profile : m_profiles) {
      if (pScanner->admits(profile.selection))
        target->actUpon(pScanner, pInfo);
      target = target->nextTarget.get();
    }
  }
}

void DirectoryWatch::activate(Scanner* scanner, FileAttributes* info) {
  // The root's name may end with a "/"; every other one comes without.
  const std::string_view path = withoutTrailingSlash(info->faName);
  const auto named = path.size() == info->faName.size() ? m_byPath.find(info->faName)
                                                        : m_byPath.find(std::string(path));
  std::span<const std::size_t> places;
  if (named != m_byPath.end())
    places = named->second;
  for (const Mask& mask : m_masks) {
    if (!mask.pattern->matches(path))
      continue;
    // Named ones and masks are merged by their places: results list specifications as they were
    // added.
    for (; !places.empty() && places.front() < mask.activator; places = places.subspan(1))
      activateOne(places.front(), scanner, info);
    activateOne(mask.activator, scanner, info);
  }
  for (const std::size_t place : places)
    activateOne(place, scanner, info);
}

void DirectoryWatch::activateOne(std::size_t place, Scanner* scanner, FileAttributes* info) {
  Activator& activator = m_activators[place];
  activator.aimAt(targetsOfLevel(m_level));
  if (m_active.empty() || m_active.back() != m_level)
    m_active.push_back(m_level);
  activator.actUpon(scanner, info);
}

// The chain of a level, made when a directory is monitored there for the first time.
MonDirAccum* DirectoryWatch::targetsOfLevel(std::size_t level) {
  // A level's chain is made once and used for every directory that is monitored at that depth.
  if (m_targets.size() <= level)
    m_targets.resize(level + 1);
  Targets& head = m_targets[level];
  if (!head)
    for (auto it = m_profiles.rbegin(); it != m_profiles.rend(); ++it) {
      auto target = std::make_unique<MonDirAccum>(*it->profile, m_filesystem,
                                                  it->profile->sdResults, m_keeper);
      target->nextTarget = std::move(head);
      head = std::move(target);
    }
  return head.get();
}

void DirectoryWatch::directoryEntered(FileAttributes* pDirInfo) {
  for (const std::size_t level : m_active)
    forEachTarget(m_targets[level].get(), [=](MonDirAccum& t) { t.directoryEntered(pDirInfo); });
  ++m_level;
}

void DirectoryWatch::directoryLeft() {
  // First: the level that is left is the one that its directory was activated at.
  --m_level;
  for (const std::size_t level : m_active)
    forEachTarget(m_targets[level].get(), [](MonDirAccum& target) { target.directoryLeft(); });
  if (!m_active.empty() && m_active.back() == m_level)
    m_active.pop_back();
}

void DirectoryWatch::directoryNotEntered(FileAttributes* pDirInfo) {
  // Only a directory that was activated just now ends here; those around it go on.
  if (m_active.empty() || m_active.back() != m_level)
    return;
  forEachTarget(m_targets[m_level].get(), [=](MonDirAccum& target) {
    target.directoryEntered(pDirInfo);
    target.directoryLeft();
  });
  m_active.pop_back();
}

void DirectoryWatch::directoryLeftOver(FileAttributes* pDirInfo) {
  m_enclosing.clear();
  for (const std::size_t level : m_active)
    m_enclosing.push_back(m_targets[level]->directory());
  if (m_active.empty() || m_active.back() != m_level)
    return;
  forEachTarget(m_targets[m_level].get(), [=](MonDirAccum& target) { target.endPart(pDirInfo); });
  m_active.pop_back();
}

void DirectoryWatch::resume(const Enclosing& enclosing, int level) {
  // Those that both lie in, as the parts come in the walk's order, are the first ones.
  std::size_t common = 0;
  while (common < m_active.size() && common < enclosing.size() &&
         m_targets[m_active[common]]->directory()->faPlace == enclosing[common]->faPlace)
    ++common;
  for (; m_active.size() > common; m_active.pop_back())
    forEachTarget(m_targets[m_active.back()].get(),
                  [](MonDirAccum& target) { target.endPart(nullptr); });
  m_level = static_cast<std::size_t>(level);
  for (std::size_t i = common; i < enclosing.size(); ++i) {
    const auto own = static_cast<std::size_t>(place::levelOf(enclosing[i]->faPlace));
    targetsOfLevel(own);
    forEachTarget(m_targets[own].get(),
                  [&](MonDirAccum& target) { target.resume(enclosing[i], own < m_level); });
    m_active.push_back(own);
  }
}

}  // namespace orv
