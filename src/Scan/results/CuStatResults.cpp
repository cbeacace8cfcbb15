#include "Scan/results/CuStatResults.h"

#include <string>
#include <vector>

#include "Common/format/GenericPrint.h"
#include "Probe/Filesystem.h"
#include "Scan/entry/FileType.h"
#include "Scan/entry/UserTable.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

template <typename Record>
std::size_t recordCount(const RecordChain<Record>& chain) {
  return chain.size();
}

template <typename Record>
std::size_t recordCount(const std::unique_ptr<Record>& record) {
  return record ? 1 : 0;
}

// One entity around `lines`, which prints the data lines.
template <typename Lines>
void printEntity(GenericPrint& print, const char* entity, const char* slot, Lines lines) {
  print.printBegin(entity, slot);
  lines();
  print.printEnd(entity);
}

// Who or what a record counts for; null for records that refer to nothing.
template <typename Record>
constexpr std::nullptr_t identityOf(const Record&) {
  return nullptr;
}
const UserOrGroup* identityOf(const SUserOrGroup& record) {
  return record.sugIdentity;
}
const FileType* identityOf(const FileTypeSummary& record) {
  return record.fileType;
}

template <typename Record>
void printIdentities(GenericPrint& print, const char* slot, const RecordChain<Record>& chain) {
  using Identity = decltype(identityOf(*chain.head()));
  // Owners, groups and types are printed with the records that count for them: a reader needs
  // nothing from another place of the result.
  if constexpr (!std::is_same_v<Identity, std::nullptr_t>)
    printEntity(print, std::remove_pointer_t<Identity>::ENTITY_NAME, slot, [&] {
      for (const Record* record = chain.head(); record != nullptr; record = record->next.get())
        if (identityOf(*record) != nullptr)
          identityOf(*record)->printData(print);
    });
}

template <typename Record>
void printRecords(GenericPrint& print, const char* slot, const RecordChain<Record>& chain) {
  printEntity(print, Record::ENTITY_NAME, slot, [&] {
    for (const Record* record = chain.head(); record != nullptr; record = record->next.get())
      record->printData(print);
  });
  printIdentities(print, slot, chain);
}

template <typename Record>
void printRecords(GenericPrint& print, const char* slot, const std::unique_ptr<Record>& record) {
  printEntity(print, Record::ENTITY_NAME, slot, [&] { record->printData(print); });
}

// A statistic of the results. What is counted and printed differs by type only: the table keeps one
// row for each.
struct Slot {
  const char* name;
  std::size_t (*count)(const CuStatResults&);
  void (*print)(const CuStatResults&, GenericPrint&, const char* slot);
};

template <auto Member>
constexpr Slot slot(const char* name) {
  return {name, [](const CuStatResults& results) { return recordCount(results.*Member); },
          [](const CuStatResults& results, GenericPrint& print, const char* slotName) {
            printRecords(print, slotName, results.*Member);
          }};
}

// In the order of the header line, which is also the order of the nested entities.
// clang-format off
constexpr Slot SLOTS[] = {
    slot<&CuStatResults::srLargestDirectories>("srLargestDirectories"),
    slot<&CuStatResults::srLargestFiles>      ("srLargestFiles"),
    slot<&CuStatResults::srLeastAccessed>     ("srLeastAccessed"),
    slot<&CuStatResults::srOldestNotBackedUp> ("srOldestNotBackedUp"),
    slot<&CuStatResults::srLargestOrphans>    ("srLargestOrphans"),
    slot<&CuStatResults::srOldestOrphans>     ("srOldestOrphans"),
    slot<&CuStatResults::srFileTypes>         ("srFileTypes"),
    slot<&CuStatResults::srSummary>           ("srSummary"),
    slot<&CuStatResults::srSizeDist>          ("srSizeDist"),
    slot<&CuStatResults::srOwners>            ("srOwners"),
    slot<&CuStatResults::srGroups>            ("srGroups"),
    slot<&CuStatResults::srAccessed>          ("srAccessed"),
    slot<&CuStatResults::srModified>          ("srModified"),
    slot<&CuStatResults::srCreated>           ("srCreated"),
    slot<&CuStatResults::srBackup>            ("srBackup"),
    slot<&CuStatResults::srHSMScoring>        ("srHSMScoring"),
};
// clang-format on

// The mdsID that a monitored directory goes by: its first specification.
std::int32_t mdsIDOf(const SMonDir& monDir) {
  return monDir.smDirSpecs.empty() ? 0 : monDir.smDirSpecs.front();
}

}  // namespace

void CuStatResults::printHeader(GenericPrint& print) {
  std::vector<std::string> names{"srID"};
  for (const Slot& row : SLOTS)
    names.emplace_back(row.name);
  print.printHeaderLine(names);
}

void CuStatResults::printData(GenericPrint& print) const {
  TRACE_METHOD("printData(...)");
  std::vector<std::string> values{std::to_string(srID)};
  for (const Slot& row : SLOTS)
    // The counts go first: a reader knows what follows before it comes.
    values.push_back(std::to_string(row.count(*this)));

  print.printBegin(ENTITY_NAME);
  print.printDataLine(values);
  for (const Slot& row : SLOTS)
    // A statistic that was not gathered, or holds nothing, has no entity: its count says so.
    if (row.count(*this) > 0)
      row.print(*this, print, row.name);
  print.printEnd(ENTITY_NAME);
}

ResultsByFS::ResultsByFS(const Filesystem& filesystem, std::shared_ptr<const SMonDir> monDir,
                         std::unique_ptr<CuStatResults> results) noexcept
    : rfResults(std::move(results)), m_filesystem(filesystem), m_monDir(std::move(monDir)) {}

void ResultsByFS::printHeader(GenericPrint& print) {
  print.printHeaderLine({"rfResults", "rfDirOrFS"});
}

void ResultsByFS::printData(GenericPrint& print) const {
  TRACE_METHOD("printData(...)");
  // A walk that failed has none, and its filesystem's record says so.
  if (!rfResults) {
    TRACE(TR_MAX, "WARNING: Results of filesystem %d are NULL. Nothing to print.",
          m_filesystem.fsID);
    return;
  }
  print.printBegin(ENTITY_NAME, m_monDir ? SMonDir::ENTITY_NAME : Filesystem::ENTITY_NAME);
  print.printDataLine({std::to_string(rfResults->srID),
                       std::to_string(m_monDir ? mdsIDOf(*m_monDir) : m_filesystem.fsID)});
  // A directory's record stands with its results: nothing else in the result names it.
  if (m_monDir) {
    print.printBegin(SMonDir::ENTITY_NAME);
    m_monDir->printData(print);
    print.printEnd(SMonDir::ENTITY_NAME);
  }
  rfResults->printData(print);
  print.printEnd(ENTITY_NAME);
}

}  // namespace orv
