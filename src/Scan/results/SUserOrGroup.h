#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "Scan/results/SizeRanges.h"

namespace orv {

class GenericPrint;
struct UserOrGroup;

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

}  // namespace orv
