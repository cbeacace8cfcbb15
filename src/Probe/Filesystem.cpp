#include "Probe/Filesystem.h"

#include "Common/format/FieldTable.h"
#include "Common/format/GenericPrint.h"
#include "Probe/NasFiler.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

template <auto Member>
constexpr Field<Filesystem> integer(std::string_view name) {
  return integerField<Filesystem, Member>(name);
}

template <auto Member>
constexpr Field<Filesystem> text(std::string_view name) {
  return stringField<Filesystem, Member>(name);
}

// clang-format off
constexpr Field<Filesystem> ROWS[] = {
    integer<&Filesystem::fsID>("fsID"),
    integer<&Filesystem::fsLogicalDiskID>("fsLogicalDiskID"),
    integer<&Filesystem::fsComputerID>("fsComputerID"),
    integer<&Filesystem::fsScanningCompID>("fsScanningCompID"),
    integer<&Filesystem::fsGroupID>("fsGroupID"),
    integer<&Filesystem::fsMaxFiles>("fsMaxFiles"),
    integer<&Filesystem::fsUsedInodes>("fsUsedInodes"),
    integer<&Filesystem::fsFreeInodes>("fsFreeInodes"),
    text<&Filesystem::fsMountPoint>("fsMountPoint"),
    integer<&Filesystem::fsPhysicalSize>("fsPhysicalSize"),
    integer<&Filesystem::fsCapacity>("fsCapacity"),
    integer<&Filesystem::fsUsedSpace>("fsUsedSpace"),
    integer<&Filesystem::fsFreeSpace>("fsFreeSpace"),
    integer<&Filesystem::fsScanTime>("fsScanTime"),
    integer<&Filesystem::fsType>("fsType"),
    integer<&Filesystem::fsUseCount>("fsUseCount"),
    flagField<Filesystem, &Filesystem::fsScanned>("fsScanned"),
    integer<&Filesystem::fsDiscoveredTime>("fsDiscoveredTime"),
    integer<&Filesystem::fsFileCount>("fsFileCount"),
    integer<&Filesystem::fsDirectoryCount>("fsDirectoryCount"),
    text<&Filesystem::fsExportName>("fsExportName"),
    integer<&Filesystem::fsLogDiskID>("fsLogDiskID"),
    integer<&Filesystem::fsClusterSize>("fsClusterSize"),
    integer<&Filesystem::fsMFTEntrySize>("fsMFTEntrySize"),
    text<&Filesystem::hostNasMountPoint>("hostNasMountPoint"),
};
// clang-format on
constexpr std::span<const Field<Filesystem>> FIELDS(ROWS);

}  // namespace

// clang-format off
const std::array<std::string_view, 27> Filesystem::TYPES = {
    "UNKNOWN", "FAT",   "FAT32",    "NTFS4",    "NTFS5",    "EXT2",   "EXT3",  "ZEV_JFS",  "HP_HFS",
    "VXFS",    "UFS",   "TMPFS",    "ZEV_OLD",  "NW_FAT",   "NW_NSS", "NFS",   "WAFL",     "FAKE",
    "ZEV_JFS2", "ZENFS", "ZENFS",   "REISERFS", "KMFS",     "VMFS",   "EXT4",  "LVM2",     "CIFS",
};
// clang-format on

Filesystem::Filesystem() = default;
Filesystem::~Filesystem() = default;

bool Filesystem::isZENFSFileset(std::int16_t type) noexcept {
  return type == TYPE_ZENFS_FIRST || type == TYPE_ZENFS_SECOND;
}

bool Filesystem::isFAT(std::int16_t type) noexcept {
  return type == TYPE_FAT || type == TYPE_FAT32;
}

void Filesystem::inititializeObject(const HeaderArray& refHeaderArray,
                                    const DataArray& refDataArray) {
  TRACE_METHOD("inititializeObject(...)");
  const std::vector<std::string>& row = firstRow(refDataArray);
  checkSizes(refHeaderArray, row);
  readFields(FIELDS, refHeaderArray, row, *this);
}

void Filesystem::printHeader(GenericPrint& print) {
  print.printHeaderLine(fieldNames(FIELDS));
}

void Filesystem::printData(GenericPrint& print) const {
  TRACE_METHOD("printData(...)");
  print.printBegin(ENTITY_NAME);
  print.printDataLine(fieldValues(FIELDS, *this));
  print.printEnd(ENTITY_NAME);
}

}  // namespace orv
