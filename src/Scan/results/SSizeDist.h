#pragma once

#include <array>
#include <cstdint>

#include "Common/format/EntityToObjectMapper.h"
#include "Scan/results/SizeRanges.h"

namespace orv {

class GenericPrint;

// Files and their sizes by size bucket. Owned by its CuStatResults, filled by a SizeDistAccum; it
// can also be read back from a file.
struct SSizeDist final : EntityToObjectMapper {
  static constexpr const char* ENTITY_NAME = "SSizeDist";

  static void printHeader(GenericPrint& print);
  void printData(GenericPrint& print) const;

  // Fields by header name, in any column order, every row in turn. A list of more values than there
  // are buckets fills the buckets and leaves the rest out.
  void inititializeObject(const HeaderArray& refHeaderArray,
                          const DataArray& refDataArray) override;

  std::int32_t szdFilesystemID = 0;
  std::int32_t szdStatisticID = 0;
  std::array<std::int64_t, SizeRanges::BUCKETS> szdSizes{};  // bytes
  std::array<std::int64_t, SizeRanges::BUCKETS> szdCounts{};
};

}  // namespace orv
