#include "Scan/accumulate/Activator.h"

#include "Scan/accumulate/MonDirAccum.h"
#include "Scan/walk/Scanner.h"
#include "runtime/ut/Trace.h"

namespace orv {
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
  std::shared_ptr<SMonDir> monDir = m_targets->directory();
  if (!monDir) {
    monDir = makeMonDir(*pScanner);
    for (MonDirAccum* target = m_targets; target != nullptr; target = target->nextTarget.get())
      target->activate(monDir);
  }
  monDir->smDirSpecs.push_back(m_mdsID);
}

void Activator::directoryEntered(FileAttributes*) {}

void Activator::directoryLeft() {}

}  // namespace orv
