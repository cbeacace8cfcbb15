#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "Common/format/EntityToObjectMapper.h"
#include "Probe/Filesystem.h"
#include "Scan/definition/CuStatDef.h"

namespace orv {

class GenericPrint;
class SelectNode;
template <typename Record>
struct Field;

// A directory that the job monitors. Owned by the AgentScan, which chains the specifications in
// file order through `mdsNext`; used on the job's thread.
class MonDirSpec final : public EntityToObjectMapper {
 public:
  static constexpr const char* ENTITY_NAME = "MonDirSpec";

  // Fields by header name, in any column order; unknown names are skipped. Every row in turn
  // overwrites the object, so that the last one holds. All rows are checked before the first is
  // taken.
  void inititializeObject(const HeaderArray& refHeaderArray,
                          const DataArray& refDataArray) override;

  static void printHeader(GenericPrint& print);
  // The whole entity: begin line, data line, end line.
  void printData(GenericPrint& print) const;

  [[nodiscard]] std::int32_t getMdsID() const noexcept { return m_mdsID; }
  void setMdsID(std::int32_t mdsID) noexcept { m_mdsID = mdsID; }

  [[nodiscard]] std::int32_t getMdsGroupID() const noexcept { return m_mdsGroupID; }
  void setMdsGroupID(std::int32_t mdsGroupID) noexcept { m_mdsGroupID = mdsGroupID; }

  // The computer that the directory lies on; below 1 means any.
  [[nodiscard]] std::int32_t getMdsComputerID() const noexcept { return m_mdsComputerID; }
  void setMdsComputerID(std::int32_t mdsComputerID) noexcept { m_mdsComputerID = mdsComputerID; }

  [[nodiscard]] const std::string& getMdsPath() const noexcept { return m_mdsPath; }
  void setMdsPath(std::string mdsPath) { m_mdsPath = std::move(mdsPath); }

  // Whether the path is a pattern rather than a literal path.
  [[nodiscard]] bool getMdsMaskedPath() const noexcept { return m_mdsMaskedPath; }
  void setMdsMaskedPath(bool mdsMaskedPath) noexcept { m_mdsMaskedPath = mdsMaskedPath; }

  // The next specification of the job's chain, null at its end. Not owned.
  [[nodiscard]] MonDirSpec* getMdsNext() const noexcept { return m_mdsNext; }
  void setMdsNext(MonDirSpec* mdsNext);

  // A selection that admits exactly this directory's subtree, for a walk that asks one per
  // directory; null while nobody attached one, as in the scan, which watches them all at once. Kept
  // for such a walk. Not owned.
  [[nodiscard]] const SelectNode* getSelectNode() const noexcept { return m_selectNode; }
  void setSelectNode(const SelectNode* selectNode) noexcept { m_selectNode = selectNode; }

 private:
  static std::span<const Field<MonDirSpec>> fields() noexcept;

  std::int32_t m_mdsID = 0;
  std::int32_t m_mdsGroupID = 0;
  std::int32_t m_mdsComputerID = 0;
  std::string m_mdsPath;
  bool m_mdsMaskedPath = false;
  MonDirSpec* m_mdsNext = nullptr;
  const SelectNode* m_selectNode = nullptr;
};

using MonDirSpecList = std::vector<std::unique_ptr<MonDirSpec>>;

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
