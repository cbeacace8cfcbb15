#include "Scan/accumulate/MonDirAccum.h"

#include "Probe/Filesystem.h"
#include "Scan/walk/Scanner.h"
#include "runtime/ut/Trace.h"

namespace orv {

MonDirAccum::MonDirAccum(CuStatDef& profile, Filesystem& filesystem, ResultsByFSList& owner)
    : m_profile(profile), m_filesystem(filesystem), m_owner(owner) {}

void MonDirAccum::activate(std::shared_ptr<SMonDir> smonDir) {
  TRACE_METHOD("activate(...)");
  // Set before the accumulators are built: the calls below look at it to know that they are active.
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
  // The first profile that enters fills the shared record; for the others it is filled already.
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
  // The directory delivered last comes first in the result.
  m_owner.push_front(std::make_unique<ResultsByFS>(m_filesystem, m_directory, takeResults()));
  releaseInodeTableMap();
  m_directory.reset();
}

namespace {

// The directory's attributes come when the walk enters it.
std::shared_ptr<SMonDir> makeMonDir(const Scanner& scanner) {
  auto monDir = std::make_shared<SMonDir>();
  monDir->smFilesystem = &scanner.filesystem();
  monDir->smScanTime = scanner.filesystem().fsScanTime;
  return monDir;
}

}  // namespace

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
  monDir->smDirSpecs.push_back(m_mdsID);
}

void Activator::directoryEntered(FileAttributes*) {}

void Activator::directoryLeft() {}

}  // namespace orv
