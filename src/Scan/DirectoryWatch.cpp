#include "Scan/DirectoryWatch.h"

#include "Scan/Activator.h"
#include "Scan/CuStatDef.h"
#include "Scan/FileAttributes.h"
#include "Scan/MonDirAccum.h"
#include "Scan/ScanPaths.h"

namespace orv {
DirectoryWatch::DirectoryWatch(Filesystem& filesystem) : m_filesystem(filesystem) {}

DirectoryWatch::~DirectoryWatch() = default;

void DirectoryWatch::addProfile(CuStatDef& profile, const SelectNode* selection) {
  m_profiles.push_back({&profile, selection});
}

void DirectoryWatch::addDirectory(std::string_view path, std::int32_t mdsID) {
  m_byPath.emplace(withoutTrailingSlash(path), mdsID);
}

void DirectoryWatch::addMask(const PathPattern& mask, std::int32_t mdsID) {
  m_masks.push_back({&mask, mdsID});
}

void DirectoryWatch::actUpon(Scanner* scanner, FileAttributes* info, const SelectContext& context) {
  if (info->faType == FT_DIRECTORY)
    activate(scanner, info);
  if (m_active.empty())
    return;
  for (std::size_t i = 0; i < m_profiles.size(); ++i) {
    const SelectNode* selection = m_profiles[i].selection;
    if (selection != nullptr && !selection->matches(*info, context))
      continue;
    for (const std::size_t level : m_active)
      m_targets[level][i]->actUpon(scanner, info);
  }
}

void DirectoryWatch::activate(Scanner* scanner, FileAttributes* info) {
  // The root's name may end with a "/"; every other one comes without.
  const std::string_view path = withoutTrailingSlash(info->faName);
  const auto [first, last] = path.size() == info->faName.size()
                                 ? m_byPath.equal_range(info->faName)
                                 : m_byPath.equal_range(std::string(path));
  for (auto it = first; it != last; ++it)
    activateOne(scanner, info, it->second);
  for (const Mask& mask : m_masks)
    if (mask.pattern->matches(path))
      activateOne(scanner, info, mask.mdsID);
}

void DirectoryWatch::activateOne(Scanner* scanner, FileAttributes* info, std::int32_t mdsID) {
  Targets& targets = targetsOfLevel();
  if (m_active.empty() || m_active.back() != m_level)
    m_active.push_back(m_level);
  Activator(targets.front().get(), mdsID).actUpon(scanner, info);
}

DirectoryWatch::Targets& DirectoryWatch::targetsOfLevel() {
  if (m_targets.size() <= m_level)
    m_targets.resize(m_level + 1);
  Targets& targets = m_targets[m_level];
  if (!targets.empty())
    return targets;
  for (const Profile& row : m_profiles) {
    targets.push_back(
        std::make_unique<MonDirAccum>(*row.profile, m_filesystem, row.profile->sdResults));
    if (targets.size() > 1)
      targets[targets.size() - 2]->nextTarget = targets.back().get();
  }
  return targets;
}

void DirectoryWatch::directoryEntered(FileAttributes* dirInfo) {
  for (const std::size_t level : m_active)
    for (const auto& target : m_targets[level])
      target->directoryEntered(dirInfo);
  ++m_level;
}

void DirectoryWatch::directoryLeft() {
  --m_level;
  for (const std::size_t level : m_active)
    for (const auto& target : m_targets[level])
      target->directoryLeft();
  if (!m_active.empty() && m_active.back() == m_level)
    m_active.pop_back();
}

void DirectoryWatch::directoryNotEntered(FileAttributes* dirInfo) {
  if (m_active.empty() || m_active.back() != m_level)
    return;
  for (const auto& target : m_targets[m_level]) {
    target->directoryEntered(dirInfo);
    target->directoryLeft();
  }
  m_active.pop_back();
}

}  // namespace orv
