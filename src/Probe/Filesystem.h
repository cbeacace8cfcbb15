#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Common/format/EntityToObjectMapper.h"

namespace orv {

class GenericPrint;
class NasFiler;

// One filesystem of the job: what the definition names and what the mount table and the walk add.
// Owned by the AgentScan, used on the job's thread.
class Filesystem final : public EntityToObjectMapper {
 public:
  static constexpr const char* ENTITY_NAME = "Filesystem";

  // Type names by row. A numeric type code is the row less one: -1 UNKNOWN, 0 FAT, 1 FAT32 ...
  // "ZENFS" stands in two rows on purpose.
  static const std::array<std::string_view, 27> TYPES;

  static constexpr std::int16_t TYPE_FAT = 0;
  static constexpr std::int16_t TYPE_FAT32 = 1;
  static constexpr std::int16_t TYPE_FAKE = 16;
  static constexpr std::int16_t TYPE_ZENFS_FIRST = 18;
  static constexpr std::int16_t TYPE_ZENFS_SECOND = 19;
  static constexpr std::int16_t TYPE_KLFS = 21;

  Filesystem();
  ~Filesystem() override;

  // Whether the type is a ZENFS fileset (18 or 19).
  [[nodiscard]] static bool isZENFSFileset(std::int16_t type) noexcept;
  // Whether the type is one of the two FAT types.
  [[nodiscard]] static bool isFAT(std::int16_t type) noexcept;

  // Fields of the first row by header name, in any column order; unknown names are skipped.
  void inititializeObject(const HeaderArray& refHeaderArray,
                          const DataArray& refDataArray) override;

  static void printHeader(GenericPrint& print);
  // The whole entity: begin line, data line, end line.
  void printData(GenericPrint& print) const;

  std::int32_t fsID = 0;
  std::int32_t fsLogicalDiskID = 0;
  std::int32_t fsComputerID = 0;
  std::int32_t fsScanningCompID = 0;
  std::int32_t fsGroupID = 0;
  std::uint64_t fsMaxFiles = 0;
  std::uint32_t fsUsedInodes = 0;
  std::uint32_t fsFreeInodes = 0;
  std::string fsMountPoint;
  std::int64_t fsPhysicalSize = 0;  // 512-byte units
  std::int64_t fsCapacity = 0;      // 512-byte units
  std::int64_t fsUsedSpace = 0;     // 512-byte units
  std::int64_t fsFreeSpace = 0;     // 512-byte units
  std::int64_t fsScanTime = 0;      // start of the scan, milliseconds since 1970
  std::int16_t fsType = -1;         // UNKNOWN until the definition says otherwise
  std::int32_t fsUseCount = 0;
  bool fsScanned = false;
  std::int64_t fsDiscoveredTime = 0;
  std::int64_t fsFileCount = 0;
  std::int64_t fsDirectoryCount = 0;
  std::string fsExportName;
  std::int32_t fsLogDiskID = 0;
  std::int32_t fsClusterSize = 0;
  std::int32_t fsMFTEntrySize = 0;
  std::string hostNasMountPoint;

  std::unique_ptr<NasFiler> nasFiler;  // null for a local filesystem
};

using FilesystemList = std::vector<std::unique_ptr<Filesystem>>;

}  // namespace orv
