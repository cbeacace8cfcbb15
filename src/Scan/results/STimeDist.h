#pragma once

#include <array>
#include <cstdint>

namespace orv {

class GenericPrint;

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
