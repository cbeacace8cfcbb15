#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "Scan/entry/FileAttributes.h"
#include "Scan/results/SizeRanges.h"

namespace orv {

class GenericPrint;

// A directory and the totals of its direct entries; what lies deeper is not added. Owned by the
// LargeDirAccum during the walk, by a slot of the CuStatResults afterwards.
struct SDirectory final : FileAttributes {
  static constexpr const char* ENTITY_NAME = "SDirectory";

  // The record's own fields, then the twelve "fa" fields.
  static void printHeader(GenericPrint& print);
  void printData(GenericPrint& print) const;

  std::int32_t dirFilesystemID = 0;
  std::int32_t dirStatisticID = 0;
  std::uint32_t dirFileCount = 0;       // regular files and symbolic links
  std::uint32_t dirDirectoryCount = 0;  // subdirectories
  std::int64_t dirTotalSize = 0;        // bytes, of direct entries of every type
  std::int64_t dirLargestSize = 0;      // bytes
  std::int64_t dir2ndLargestSize = 0;   // bytes
  std::array<std::int64_t, SizeRanges::BUCKETS> dirSizes{};  // bytes
  std::array<std::uint32_t, SizeRanges::BUCKETS> dirCounts{};

  // During the walk the open directory above, afterwards the directory ranked next lower.
  std::unique_ptr<SDirectory> next;
};

}  // namespace orv
