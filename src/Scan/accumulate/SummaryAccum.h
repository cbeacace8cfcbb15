#pragma once

#include "Scan/accumulate/Accumulator.h"

namespace orv {

struct SSizeDist;
struct SSummary;

// Counts files, directories and bytes, into a record that the results own.
class SummaryAccum final : public Accumulator {
 public:
  // `record` must outlive the accumulator.
  explicit SummaryAccum(SSummary* record);

  // Files are regular files and symbolic links; the size counts entries of every type.
  void accumulate(Scanner* pScanner, FileAttributes* pInfo) override;
  // Takes over the figures of the results' record when that is another one than its own.
  void finish(CuStatResults* results) override;

 private:
  SSummary* m_pSSummary;
};

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
