#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "Common/format/EntityToObjectMapper.h"
#include "runtime/ut/Trace.h"

namespace orv {

class GenericPrint;

// The size buckets that every distribution by size shares.
struct SizeRanges final {
  static constexpr std::size_t BUCKETS = 8;

  // Inclusive upper bounds in bytes of all buckets but the last. The uneven steps are deliberate:
  // readers of a result know the buckets by their position only.
  static constexpr std::array<std::int64_t, BUCKETS - 1> BOUNDS = {2,     20,     200,    2048,
                                                                   20480, 204800, 1024000};

  // The bucket of `size` bytes, 0 to 7; negative sizes fall into 0.
  [[nodiscard]] static std::size_t bucket(std::int64_t size) noexcept {
    TRACE_METHOD("bucket(...)");
    std::size_t index = 0;
    while (index < BOUNDS.size() && size > BOUNDS[index])
      ++index;
    return index;
  }
};

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

// Which time a STimeDist sorts files by (`tdType`).
enum TimeDistType : std::int16_t {
  TD_ACCESSED = 0,
  TD_MODIFIED = 1,
  TD_CREATED = 2,
  TD_BACKUP = 3
};

// Files and their sizes by age at the start of the scan. Owned by its CuStatResults, filled by a
// TimeDistAccum.
struct STimeDist {
  static constexpr const char* ENTITY_NAME = "STimeDist";
  // Ages up to 1, 7, 30, 60, 90, 180 and 270 days and up to a year, older, and dated in the future.
  static constexpr std::size_t BUCKETS = 10;

  virtual ~STimeDist() = default;

  static void printHeader(GenericPrint& print);
  void printData(GenericPrint& print) const;

  std::int32_t tdFilesystemID = 0;
  std::int32_t tdStatisticID = 0;
  std::int16_t tdType = TD_ACCESSED;
  std::int64_t tdScanTime = 0;                  // milliseconds since 1970
  std::int64_t tdAverageAge = 0;                // seconds; files dated in the future are left out
  std::array<std::int64_t, BUCKETS> tdSizes{};  // bytes
  std::array<std::int64_t, BUCKETS> tdCounts{};
  std::int32_t tdAccumCount = 0;
  std::int16_t tdHistType = 0;
};

}  // namespace orv
