#pragma once

#include "Scan/ListElement.h"
#include "common/ut/Trace.h"

namespace orv {

struct CuStatResults;
class Scanner;
struct FileAttributes;

// One statistic of one profile on one tree. Owned by its CuStatAccum, used on the scanning thread.
// An accumulator does no input or output and keeps no reference to the entry it is shown.
class Accumulator : public ListElement {
 public:
  using ListElement::ListElement;

  // Looks at one entry. A missing argument is traced and nothing is counted.
  virtual void accumulate(Scanner* pScanner, FileAttributes* pInfo) = 0;

  // The tree is done: completes the result and hangs it into `results`, which owns it from then on.
  virtual void finish(CuStatResults* results) = 0;

 protected:
  // Whether both arguments of `accumulate` are there; a missing one is traced.
  [[nodiscard]] static bool areGiven(const Scanner* pScanner, const FileAttributes* pInfo) {
    if (pScanner != nullptr && pInfo != nullptr) [[likely]]
      return true;
    TRACE(TR_MAX,
          "ERROR: At least one of the parameters <pScanner>, <pInfo> is NULL. Leaving method.");
    return false;
  }
};

}  // namespace orv
