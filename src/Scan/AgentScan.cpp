#include "Scan/AgentScan.h"

#include "Common/FieldTable.h"
#include "common/ut/Trace.h"

namespace orv {
namespace {

// clang-format off
constexpr Field<AgentScan> ROWS[] = {
    stringField<AgentScan, &AgentScan::asJobName>("asJobName"),
    integerField<AgentScan, &AgentScan::asScanningCompID>("asScanningCompID"),
};
// clang-format on

}  // namespace

void AgentScan::inititializeObject(const HeaderArray& refHeaderArray,
                                   const DataArray& refDataArray) {
  TRACE_METHOD("inititializeObject(...)");
  const std::vector<std::string>& row = firstRow(refDataArray);
  checkSizes(refHeaderArray, row);
  for (std::size_t column = 0; column < std::size(ROWS) && column < row.size(); ++column)
    if (refHeaderArray[column] == ROWS[column].name)
      ROWS[column].read(*this, row[column]);
}

void AgentScan::setFilesystems(std::unique_ptr<FilesystemList> filesystems) {
  if (!filesystems)
    TRACE(TR_MAX, "WARNING: Set local Filesystem reference <m_pFilesystem> to NULL.");
  m_pFilesystem = std::move(filesystems);
}

std::unique_ptr<FilesystemList> AgentScan::takeFilesystems() noexcept {
  return std::move(m_pFilesystem);
}

void AgentScan::addFilesystem(std::unique_ptr<Filesystem> filesystem) {
  if (!m_pFilesystem)
    m_pFilesystem = std::make_unique<FilesystemList>();
  m_pFilesystem->push_back(std::move(filesystem));
}

MonDirSpec* AgentScan::getDirectories() const noexcept {
  return m_pDirectories.empty() ? nullptr : m_pDirectories.front().get();
}

void AgentScan::setDirectories(std::unique_ptr<MonDirSpecList> directories) {
  m_pDirectories.clear();
  if (!directories) {
    TRACE(TR_MAX, "WARNING: Set local MonDirSpec reference <m_pDirectories> to NULL.");
    return;
  }
  for (std::unique_ptr<MonDirSpec>& directory : *directories)
    addDirectory(std::move(directory));
}

void AgentScan::addDirectory(std::unique_ptr<MonDirSpec> directory) {
  if (directory->getMdsNext() != nullptr)
    directory->setMdsNext(nullptr);
  if (!m_pDirectories.empty())
    m_pDirectories.back()->setMdsNext(directory.get());
  m_pDirectories.push_back(std::move(directory));
}

CuStatDef* AgentScan::getStatistics() const noexcept {
  return m_pStatistics.empty() ? nullptr : m_pStatistics.front().get();
}

void AgentScan::setStatistics(std::unique_ptr<CuStatDefList> statistics) {
  m_pStatistics.clear();
  if (!statistics) {
    TRACE(TR_MAX, "WARNING: Set local CuStatDef reference <m_pStatistics> to NULL.");
    return;
  }
  for (std::unique_ptr<CuStatDef>& profile : *statistics)
    addStatistics(std::move(profile));
}

void AgentScan::addStatistics(std::unique_ptr<CuStatDef> profile) {
  profile->sdNext = nullptr;
  if (!m_pStatistics.empty())
    m_pStatistics.back()->sdNext = profile.get();
  m_pStatistics.push_back(std::move(profile));
}

}  // namespace orv
