#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "Scan/results/DistributionRecords.h"

namespace orv {

class GenericPrint;
struct FileType;
struct UserOrGroup;

// Totals of one profile on one filesystem or monitored directory, as the history keeps them.
struct SSummaryHist {
  virtual ~SSummaryHist() = default;

  static void printHeader(GenericPrint& print);
  virtual void printData(GenericPrint& print) const;

  std::int32_t sumFilesystemID = 0;
  std::int32_t sumStatisticID = 0;
  std::int64_t sumCapacity = 0;   // 512-byte units
  std::int64_t sumFreeSpace = 0;  // 512-byte units
  std::int64_t sumUsedSpace = 0;  // 512-byte units
  std::int64_t sumTotalSize = 0;  // bytes, of entries of every type
  std::int64_t sumFileCount = 0;  // regular files and symbolic links
  std::int64_t sumScanTime = 0;   // milliseconds since 1970
  std::int32_t sumAccumCount = 0;
  std::int16_t sumType = 0;
};

// The totals of a scan. Owned by its CuStatResults, filled by a SummaryAccum.
struct SSummary final : SSummaryHist {
  static constexpr const char* ENTITY_NAME = "SSummary";

  static void printHeader(GenericPrint& print);
  void printData(GenericPrint& print) const override;

  std::int64_t sumDirectoryCount = 0;
};

// Totals of one owner or group, as the history keeps them.
struct SUGHist {
  virtual ~SUGHist() = default;

  static void printHeader(GenericPrint& print);
  virtual void printData(GenericPrint& print) const;

  std::int32_t sugFilesystemID = 0;
  std::int32_t sugStatisticID = 0;
  const UserOrGroup* sugIdentity = nullptr;  // not owned; written as its uid or gid
  std::uint32_t sugFileCount = 0;            // regular files and symbolic links
  std::int64_t sugTotalSize = 0;             // bytes, of entries of every type
  std::int64_t sugTimestamp = 0;             // the filesystem's fsScanTime
  std::int32_t sugAccumCount = 0;
  std::int16_t sugType = 0;
};

// What one owner or group holds in a tree. Owned by its CuStatResults, filled by a
// UserOrGroupAccum.
struct SUserOrGroup final : SUGHist {
  static constexpr const char* ENTITY_NAME = "SUserOrGroup";

  static void printHeader(GenericPrint& print);
  void printData(GenericPrint& print) const override;

  std::uint32_t sugDirectoryCount = 0;
  std::uint32_t sugOtherCount = 0;
  std::int64_t sugUnusedSpace = 0;
  std::int64_t sugLargestSize = 0;                           // bytes
  std::int64_t sug2ndLargestSize = 0;                        // bytes
  std::array<std::int64_t, SizeRanges::BUCKETS> sugSizes{};  // bytes
  std::array<std::int64_t, SizeRanges::BUCKETS> sugCounts{};

  std::unique_ptr<SUserOrGroup> next;  // the owner or group with the next lower identifier
};

// When a figure of the history was taken. Base of the records that the history keeps.
struct History {
  virtual ~History() = default;

  static void printHeader(GenericPrint& print);
  virtual void printData(GenericPrint& print) const;

  std::int64_t hsStatisticTime = 0;
  std::int32_t hsAccumCount = 0;
  std::int16_t hsStatisticType = 0;
};

// What the files of one type hold in a tree. Owned by the FileTypeAccum during the walk, by its
// CuStatResults afterwards.
struct FileTypeSummary final : History {
  static constexpr const char* ENTITY_NAME = "FileTypeSummary";

  static void printHeader(GenericPrint& print);
  void printData(GenericPrint& print) const override;

  std::int32_t profileID = 0;
  std::int32_t filesystemID = 0;
  std::int64_t fileCount = 0;
  std::int64_t spaceUsed = 0;          // bytes
  const FileType* fileType = nullptr;  // not owned; written as its fptID

  std::unique_ptr<FileTypeSummary> next;  // the type ranked next lower
};

}  // namespace orv
