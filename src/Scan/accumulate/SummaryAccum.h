#pragma once

#include "Scan/accumulate/Accumulator.h"

namespace orv {

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

}  // namespace orv
