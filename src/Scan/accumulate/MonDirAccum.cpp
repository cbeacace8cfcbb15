#include "Scan/accumulate/MonDirAccum.h"

#include "Probe/Filesystem.h"
#include "runtime/ut/Trace.h"

namespace orv {

MonDirAccum::MonDirAccum(CuStatDef& profile, Filesystem& filesystem, ResultsByFSList& owner)
    : m_profile(profile), m_filesystem(filesystem), m_owner(owner) {}

void MonDirAccum::activate(std::shared_ptr<SMonDir> smonDir) {
  TRACE_METHOD("activate(...)");
  m_directory = std::move(smonDir);
  buildAccum(m_profile, m_filesystem);
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
  if (depth() == 0 && m_directory->smFilesystemID == SMonDir::NOT_ENTERED) {
    static_cast<FileAttributes&>(*m_directory) = *pDirInfo;
    m_directory->smFilesystemID = m_filesystem.fsID;
  }
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
  m_owner.push_front(std::make_unique<ResultsByFS>(m_filesystem, m_directory, takeResults()));
  releaseInodeTableMap();
  m_directory.reset();
}

}  // namespace orv
