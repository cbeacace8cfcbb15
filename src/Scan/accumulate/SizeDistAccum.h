#pragma once

#include "Scan/accumulate/Accumulator.h"

namespace orv {

struct SSizeDist;

// Counts entries of every type by size bucket, into a record that the results own.
class SizeDistAccum final : public Accumulator {
 public:
  // `record` must outlive the accumulator.
  explicit SizeDistAccum(SSizeDist* record);

  void accumulate(Scanner* pScanner, FileAttributes* pInfo) override;
  // The record is complete at any time: nothing to do.
  void finish(CuStatResults* results) override;

 private:
  SSizeDist* m_record;
};

}  // namespace orv
