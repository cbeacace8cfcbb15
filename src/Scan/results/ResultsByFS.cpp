#include "Scan/results/ResultsByFS.h"

#include <string>

#include "Common/format/GenericPrint.h"
#include "Probe/Filesystem.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

// The mdsID that a monitored directory goes by: its first specification.
std::int32_t mdsIDOf(const SMonDir& monDir) {
  return monDir.smDirSpecs.empty() ? 0 : monDir.smDirSpecs.front();
}

}  // namespace

ResultsByFS::ResultsByFS(const Filesystem& filesystem, std::shared_ptr<const SMonDir> monDir,
                         std::unique_ptr<CuStatResults> results) noexcept
    : rfResults(std::move(results)), m_filesystem(filesystem), m_monDir(std::move(monDir)) {}

void ResultsByFS::printHeader(GenericPrint& print) {
  print.printHeaderLine({"rfResults", "rfDirOrFS"});
}

void ResultsByFS::printData(GenericPrint& print) const {
  TRACE_METHOD("printData(...)");
  if (!rfResults) {
    TRACE(TR_MAX, "WARNING: Results of filesystem %d are NULL. Nothing to print.",
          m_filesystem.fsID);
    return;
  }
  print.printBegin(ENTITY_NAME, m_monDir ? SMonDir::ENTITY_NAME : Filesystem::ENTITY_NAME);
  print.printDataLine({std::to_string(rfResults->srID),
                       std::to_string(m_monDir ? mdsIDOf(*m_monDir) : m_filesystem.fsID)});
  if (m_monDir) {
    print.printBegin(SMonDir::ENTITY_NAME);
    m_monDir->printData(print);
    print.printEnd(SMonDir::ENTITY_NAME);
  }
  rfResults->printData(print);
  print.printEnd(ENTITY_NAME);
}

}  // namespace orv
