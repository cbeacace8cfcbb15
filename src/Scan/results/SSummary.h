#pragma once

#include <cstdint>

namespace orv {

class GenericPrint;

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

}  // namespace orv
