#pragma once

#include "Scan/ListElement.h"

namespace orv {

struct CuStatResults;
class Scanner;
struct FileAttributes;

// One statistic of one profile on one tree. Owned by its CuStatAccum, used on the scanning thread.
// An accumulator does no input or output and keeps no reference to the entry it is shown.
class Accumulator : public ListElement {
 public:
  using ListElement::ListElement;

  // Looks at one entry. Null arguments are refused with a trace line.
  virtual void accumulate(Scanner* pScanner, FileAttributes* pInfo) = 0;

  // The tree is done: completes the result and hangs it into `results`, which owns it from then on.
  virtual void finish(CuStatResults* results) = 0;
};

}  // namespace orv
