#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "Common/format/EntityToObjectMapper.h"
#include "Probe/Filesystem.h"
#include "Scan/definition/CuStatDef.h"
#include "Scan/definition/MonDirSpec.h"

namespace orv {

class GenericPrint;

// The root of one scan job: what the definition asks for. Owned by the driver for the whole job and
// itself the owner of the filesystems, monitored directories and statistic profiles; used on the
// job's thread. It also prints them into the result.
class AgentScan final : public EntityToObjectMapper {
 public:
  static constexpr const char* ENTITY_NAME = "AgentScan";

  // Reads the first row by position: column 0 counts only under the name "asJobName", column 1 only
  // under "asScanningCompID".
  void inititializeObject(const HeaderArray& refHeaderArray,
                          const DataArray& refDataArray) override;

  // The result's header section: the field names of every record type that a result may hold.
  static void printHeader(GenericPrint& print);
  // The job's own data line.
  void printJob(GenericPrint& print) const;
  // The whole job: its data line, then what the three operations below print.
  void printData(GenericPrint& print) const;
  // One entity per element; nothing but a trace line when there is none.
  void printFilesystems(GenericPrint& print) const;
  void printMonDirSpecs(GenericPrint& print) const;
  void printCuStatDefs(GenericPrint& print) const;

  // Null when the job has no list of filesystems. The list may be changed, it stays the job's.
  [[nodiscard]] FilesystemList* getFilesystems() const noexcept { return m_pFilesystem.get(); }
  // Replaces the list; null leaves the job without one.
  void setFilesystems(std::unique_ptr<FilesystemList> filesystems);
  // Hands the list out, for re-ordering; the job has none until `setFilesystems`.
  [[nodiscard]] std::unique_ptr<FilesystemList> takeFilesystems() noexcept;
  void addFilesystem(std::unique_ptr<Filesystem> filesystem);

  // Head of the chain through `mdsNext`; null when it is empty.
  [[nodiscard]] MonDirSpec* getDirectories() const noexcept;
  // Replaces the chain by the list's elements in list order; null empties it.
  void setDirectories(std::unique_ptr<MonDirSpecList> directories);
  // Appends to the chain.
  void addDirectory(std::unique_ptr<MonDirSpec> directory);

  // Head of the chain through `sdNext`; null when it is empty.
  [[nodiscard]] CuStatDef* getStatistics() const noexcept;
  // Replaces the chain by the list's elements in list order; null empties it.
  void setStatistics(std::unique_ptr<CuStatDefList> statistics);
  // Appends to the chain.
  void addStatistics(std::unique_ptr<CuStatDef> profile);

  std::string asJobName;
  std::int32_t asScanningCompID = 0;

 private:
  // The chains' owners: vectors, so that freeing a long chain takes no stack.
  std::unique_ptr<FilesystemList> m_pFilesystem;
  MonDirSpecList m_pDirectories;
  CuStatDefList m_pStatistics;
};

}  // namespace orv
