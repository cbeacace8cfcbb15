#include "Scan/definition/AgentScan.h"

#include "Common/format/FieldTable.h"
#include "Common/format/GenericPrint.h"
#include "Probe/NasFiler.h"
#include "Scan/entry/FileType.h"
#include "Scan/entry/UserTable.h"
#include "Scan/results/EntryRecords.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

// clang-format off
constexpr Field<AgentScan> ROWS[] = {
    stringField<AgentScan, &AgentScan::asJobName>("asJobName"),
    integerField<AgentScan, &AgentScan::asScanningCompID>("asScanningCompID"),
};
// clang-format on
constexpr std::span<const Field<AgentScan>> FIELDS(ROWS);

void printJobHeader(GenericPrint& print) {
  print.printHeaderLine(fieldNames(FIELDS));
}

// The record types of a result, in the order in which its header section names them.
struct RecordType {
  const char* name;
  void (*printHeader)(GenericPrint&);
};

// clang-format off
constexpr RecordType RECORD_TYPES[] = {
    {AgentScan::ENTITY_NAME,       printJobHeader},
    {CuStatDef::ENTITY_NAME,       CuStatDef::printHeader},
    {CuStatResults::ENTITY_NAME,   CuStatResults::printHeader},
    {Filesystem::ENTITY_NAME,      Filesystem::printHeader},
    {FileType::ENTITY_NAME,        FileType::printHeader},
    {FileTypeSummary::ENTITY_NAME, FileTypeSummary::printHeader},
    {MonDirSpec::ENTITY_NAME,      MonDirSpec::printHeader},
    {ResultsByFS::ENTITY_NAME,     ResultsByFS::printHeader},
    {SDirectory::ENTITY_NAME,      SDirectory::printHeader},
    {SFile::ENTITY_NAME,           SFile::printHeader},
    {SMonDir::ENTITY_NAME,         SMonDir::printHeader},
    {SSizeDist::ENTITY_NAME,       SSizeDist::printHeader},
    {SSummary::ENTITY_NAME,        SSummary::printHeader},
    {STimeDist::ENTITY_NAME,       STimeDist::printHeader},
    {"SUGHist",                    SUGHist::printHeader},
    {SUserOrGroup::ENTITY_NAME,    SUserOrGroup::printHeader},
    {FileScoreRule::ENTITY_NAME,   FileScoreRule::printHeader},
    {SFileCandidate::ENTITY_NAME,  SFileCandidate::printHeader},
    {UserOrGroup::ENTITY_NAME,     UserOrGroup::printHeader},
    {Domain::ENTITY_NAME,          Domain::printHeader},
};
// clang-format on

}  // namespace

std::span<const Field<MonDirSpec>> MonDirSpec::fields() noexcept {
  // clang-format off
  static constexpr Field<MonDirSpec> ROWS[] = {
      integerField<MonDirSpec, &MonDirSpec::m_mdsID>("mdsID"),
      integerField<MonDirSpec, &MonDirSpec::m_mdsGroupID>("mdsGroupID"),
      integerField<MonDirSpec, &MonDirSpec::m_mdsComputerID>("mdsComputerID"),
      stringField<MonDirSpec, &MonDirSpec::m_mdsPath>("mdsPath"),
      flagField<MonDirSpec, &MonDirSpec::m_mdsMaskedPath>("mdsMaskedPath"),
  };
  // clang-format on
  return ROWS;
}

void MonDirSpec::inititializeObject(const HeaderArray& refHeaderArray,
                                    const DataArray& refDataArray) {
  TRACE_METHOD("inititializeObject(...)");
  // All rows are looked at before any is taken: a bad one must not leave half a record.
  for (const std::vector<std::string>& innerArray : refDataArray)
    checkSizes(refHeaderArray, innerArray,
               "ERROR: innerArray.size() != refHeaderArray.size(). "
               "OrvObjectCreationException will be thrown.");
  for (const std::vector<std::string>& innerArray : refDataArray)
    readFields(fields(), refHeaderArray, innerArray, *this);
}

void MonDirSpec::printHeader(GenericPrint& print) {
  print.printHeaderLine(fieldNames(fields()));
}

void MonDirSpec::printData(GenericPrint& print) const {
  TRACE_METHOD("printData(...)");
  print.printBegin(ENTITY_NAME);
  print.printDataLine(fieldValues(fields(), *this));
  print.printEnd(ENTITY_NAME);
}

void MonDirSpec::setMdsNext(MonDirSpec* mdsNext) {
  if (mdsNext == nullptr)
    TRACE(TR_MAX, "WARNING: Set local MonDirSpec reference <mdsNext> to NULL.");
  m_mdsNext = mdsNext;
}

void AgentScan::inititializeObject(const HeaderArray& refHeaderArray,
                                   const DataArray& refDataArray) {
  TRACE_METHOD("inititializeObject(...)");
  const std::vector<std::string>& row = firstRow(refDataArray);
  checkSizes(refHeaderArray, row);
  // By place and name: this record alone does not take its columns in any order.
  for (std::size_t column = 0; column < std::size(ROWS) && column < row.size(); ++column)
    if (refHeaderArray[column] == ROWS[column].name)
      ROWS[column].read(*this, row[column]);
}

void AgentScan::printHeader(GenericPrint& print) {
  TRACE_METHOD("printHeader(...)");
  // Every record type that a result may hold is declared, whether this one holds it or not: the
  // header is the same for all jobs.
  print.printBegin("Header");
  for (const RecordType& type : RECORD_TYPES) {
    print.printBegin(type.name);
    type.printHeader(print);
  }
  print.printEnd("Header");
}

void AgentScan::printJob(GenericPrint& print) const {
  print.printDataLine(fieldValues(FIELDS, *this));
}

void AgentScan::printData(GenericPrint& print) const {
  TRACE_METHOD("printData(...)");
  printJob(print);
  printFilesystems(print);
  printMonDirSpecs(print);
  printCuStatDefs(print);
}

void AgentScan::printFilesystems(GenericPrint& print) const {
  if (!m_pFilesystem || m_pFilesystem->empty()) {
    TRACE(TR_MAX, "WARNING: Local Filesystem reference is NULL. Nothing to print.");
    return;
  }
  for (const std::unique_ptr<Filesystem>& filesystem : *m_pFilesystem)
    filesystem->printData(print);
}

void AgentScan::printMonDirSpecs(GenericPrint& print) const {
  if (m_pDirectories.empty())
    TRACE(TR_MAX, "WARNING: Local MonDirSpec directory reference is NULL. Nothing to print.");
  for (const std::unique_ptr<MonDirSpec>& directory : m_pDirectories)
    directory->printData(print);
}

void AgentScan::printCuStatDefs(GenericPrint& print) const {
  if (m_pStatistics.empty())
    TRACE(TR_MAX, "WARNING: Local CuStatDef statistics reference is NULL. Nothing to print.");
  for (const std::unique_ptr<CuStatDef>& profile : m_pStatistics)
    profile->printData(print);
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
  // It may come from another chain, whose rest does not come with it.
  if (directory->getMdsNext() != nullptr)
    directory->setMdsNext(nullptr);
  if (!m_pDirectories.empty())
    // The links serve readers of the chain; the vector owns.
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
  // As with the directories: the rest of an older chain does not come along.
  profile->sdNext = nullptr;
  if (!m_pStatistics.empty())
    m_pStatistics.back()->sdNext = profile.get();
  m_pStatistics.push_back(std::move(profile));
}

}  // namespace orv
