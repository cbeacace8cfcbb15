#include "Scan/accumulate/CuStatAccum.h"

#include <absl/container/btree_set.h>

#include <ctime>
#include <stdexcept>

#include "Common/ORVCommon/CommonAgentFactory.h"
#include "Probe/Filesystem.h"
#include "Scan/accumulate/EntryAccums.h"
#include "Scan/accumulate/Statistics.h"
#include "Scan/definition/ComputerID.h"
#include "Scan/definition/CuStatDef.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

// Calls the accumulators of a chain in their order; an element of another kind ends it.
template <typename Call>
void forEach(const ListElement* head, Call call) {
  for (const ListElement* e = head; e != nullptr && e->accumulator() != nullptr; e = e->next)
    call(*e->accumulator());
}

}  // namespace

struct InodeTable::Tree {
  absl::btree_set<Inode> inodes;
};

InodeTable::InodeTable() : m_tree(std::make_unique<Tree>()) {}

InodeTable::~InodeTable() = default;

bool InodeTable::insert(Inode inode) {
  return m_tree->inodes.insert(inode).second;
}

void InodeTable::clear() noexcept {
  m_tree->inodes.clear();
}

std::size_t InodeTable::size() const noexcept {
  return m_tree->inodes.size();
}

CuStatAccum::CuStatAccum() : FileAction("CuStatAccum") {
  TRACE_METHOD("CuStatAccum()");
}

CuStatAccum::~CuStatAccum() {
  releaseAccumulators();
}

void CuStatAccum::buildAccum(CuStatDef& def, Filesystem& fs, std::int64_t scanTime) {
  TRACE_METHOD("buildAccum(...)");
  // Built anew for every tree and every activation: what an earlier one left must not count again.
  releaseInodeTableMap();
  releaseAccumulators();
  fs.fsComputerID = ComputerID::cachedCID.value_or(-1);
  // One clock reading for every record of this container, so that they agree in the result.
  if (scanTime == 0)
    scanTime = static_cast<std::int64_t>(std::time(nullptr)) * 1000;
  m_results = std::make_unique<CuStatResults>();
  m_results->srID = def.sdID;
  // The top directory itself brings it to 0; leaving that one makes it negative again.
  m_depth = -1;
  if (def.sdLargestDirectories > 0)
    m_largeDirAccum = std::make_unique<LargeDirAccum>(def.sdLargestDirectories, fs);
  if (!CommonAgentFactory::getCommonAgent()->isWindows)
    // The profile is changed, too: later stages and the result must see the switch as off.
    def.sdGroupByCreation = false;  // the platform records no creation times
  const bool hasOwners = (def.sdGroupByOwner || def.sdGroupByGroup) && checkForFAT(def, fs) == 1;
  // Each goes before the last one: entries are shown in the reverse order of creation.
  for (auto& accumulator : makeAccumulators({def, fs, *m_results, scanTime, hasOwners}))
    push(std::move(accumulator));
}

int CuStatAccum::checkForFAT(const CuStatDef&, const Filesystem& fs) {
  TRACE_METHOD("checkForFAT(...)");
  return CommonAgentFactory::getCommonAgent()->isWindows && Filesystem::isFAT(fs.fsType) ? 0 : 1;
}

void CuStatAccum::push(std::unique_ptr<Accumulator> accumulator) {
  // The list owns its elements from here on, until `releaseAccumulators`.
  accumulator->next = m_accumulators;
  m_accumulators = accumulator.release();
}

void CuStatAccum::actUpon(Scanner* pScanner, FileAttributes* pInfo) {
  TRACE_METHOD("actUpon(...)");
  if (pInfo == nullptr) {
    TRACE(TR_MAX, "The parameter FileAttributes <pInfo> is NULL. Leaving method.");
    return;
  }
  // Before the rule for links: a directory is as large as the names that it lists.
  if (m_largeDirAccum)
    m_largeDirAccum->accumulate(pScanner, pInfo);
  // Deliberate: the first name met is the one left out, so N names count N-1 times.
  if (pInfo->faLinkCount > 1 && isFirstName(*pInfo))
    return;
  forEach(m_accumulators, [=](Accumulator& a) { a.accumulate(pScanner, pInfo); });
}

// Whether the entry is the first that this container sees of its inode.
bool CuStatAccum::isFirstName(const FileAttributes& info) {
  if (m_firstNames)
    return m_firstNames->isFirst(info);
  // Inodes are enough: a walk stays on one filesystem, and the table lives as long as one tree.
  return m_inodeTable.insert(Inode{static_cast<std::int64_t>(info.faInodeNumber)});
}

void CuStatAccum::directoryEntered(FileAttributes* pDirInfo) {
  TRACE_METHOD("directoryEntered(...)");
  if (m_largeDirAccum)
    m_largeDirAccum->newDirectory(pDirInfo);
  ++m_depth;
}

void CuStatAccum::directoryLeft() {
  TRACE_METHOD("directoryLeft()");
  if (m_largeDirAccum)
    m_largeDirAccum->leaveDirectory();
  // Only the tree's own top ends the statistics; a reader of results relies on one finish per tree.
  if (--m_depth < 0 && !m_firstNames)
    finish();
}

void CuStatAccum::finish() {
  // The directories first: their ranking is complete with the top directory just left.
  if (m_largeDirAccum)
    m_largeDirAccum->finish(m_results.get());
  forEach(m_accumulators, [this](Accumulator& a) { a.finish(m_results.get()); });
  releaseInodeTableMap();  // links are matched within one tree
}

void CuStatAccum::gatherPart(std::unique_ptr<FirstNames> firstNames) {
  m_firstNames = std::move(firstNames);
}

// The number of an accumulator is its position in the chain, which depends on the profile alone;
// the directories come first.
void CuStatAccum::save(StateSink& sink) const {
  std::uint32_t number = 0;
  if (m_largeDirAccum) {
    sink.beginAccumulator(number);
    m_largeDirAccum->save(sink);
  }
  forEach(m_accumulators, [&](const Accumulator& a) {
    sink.beginAccumulator(++number);
    a.save(sink);
  });
}

void CuStatAccum::absorb(Scanner& scanner, std::uint32_t number, const StateRow& row) {
  Accumulator* target = number == 0 ? m_largeDirAccum.get() : nullptr;
  std::uint32_t position = 0;
  forEach(m_accumulators, [&](Accumulator& a) {
    if (++position == number)
      target = &a;
  });
  if (target == nullptr)
    throw std::runtime_error("a row of an accumulator that the profile has not");
  target->absorb(scanner, row);
}

void CuStatAccum::countLaterName(Scanner& scanner, FileAttributes& info) {
  forEach(m_accumulators, [&](Accumulator& a) { a.accumulate(&scanner, &info); });
}

std::unique_ptr<CuStatResults> CuStatAccum::takeResults() noexcept {
  return std::move(m_results);
}

void CuStatAccum::releaseAccumulators() {
  TRACE_METHOD("releaseAccumulators()");
  while (m_accumulators != nullptr) {
    ListElement* element = m_accumulators;
    m_accumulators = element->next;
    // Whoever hung in something else keeps it: only what the statistics' table makes is deleted.
    if (isStatistic(*element))
      delete element;
    else
      TRACE(TR_MAX, "WARNING: Unknown <Accumulator*> reference. Object can not be deleted.");
  }
  m_largeDirAccum.reset();
}

void CuStatAccum::releaseInodeTableMap() {
  TRACE_METHOD("releaseInodeTableMap()");
  m_inodeTable.clear();
}

}  // namespace orv
