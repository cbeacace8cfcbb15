#include "Scan/accumulate/DirectoryWatch.h"

#include <span>

#include "Scan/accumulate/MonDirAccum.h"
#include "Scan/definition/CuStatDef.h"
#include "Scan/entry/FileAttributes.h"
#include "Scan/walk/Scanner.h"
#include "runtime/ut/ScanPaths.h"

namespace orv {

namespace {

template <typename Call>
void forEachTarget(MonDirAccum* head, Call call) {
  for (MonDirAccum* target = head; target != nullptr; target = target->nextTarget.get())
    call(*target);
}

}  // namespace

DirectoryWatch::DirectoryWatch(Filesystem& filesystem)
    : FileAction("DirectoryWatch"), m_filesystem(filesystem) {}

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
    for (; !places.empty() && places.front() < mask.activator; places = places.subspan(1))
      activateOne(places.front(), scanner, info);
    activateOne(mask.activator, scanner, info);
  }
  for (const std::size_t place : places)
    activateOne(place, scanner, info);
}

void DirectoryWatch::activateOne(std::size_t place, Scanner* scanner, FileAttributes* info) {
  Activator& activator = m_activators[place];
  activator.aimAt(targetsOfLevel());
  if (m_active.empty() || m_active.back() != m_level)
    m_active.push_back(m_level);
  activator.actUpon(scanner, info);
}

// The chain of the current level, made when a directory is monitored there for the first time.
MonDirAccum* DirectoryWatch::targetsOfLevel() {
  // A level's chain is made once and used for every directory that is monitored at that depth.
  if (m_targets.size() <= m_level)
    m_targets.resize(m_level + 1);
  Targets& head = m_targets[m_level];
  if (!head)
    for (auto it = m_profiles.rbegin(); it != m_profiles.rend(); ++it) {
      auto target =
          std::make_unique<MonDirAccum>(*it->profile, m_filesystem, it->profile->sdResults);
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

}  // namespace orv
