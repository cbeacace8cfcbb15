#pragma once

#include <memory>

#include "Scan/walk/DirectoryReader.h"

namespace orv {

class ScannerUnix;

// Makes the reader that suits a scanner's options: read ahead, which a stat
// time-out asks for as well, or a plain directory stream.
class DirectoryReaderFactory final {
 public:
  // A reader tied to the scanner, with its current path open; null for a null scanner. `fsType` is
  // what the walk hands on: 1 for the root, 0 for what lies below, no type code.
  [[nodiscard]] static std::unique_ptr<DirectoryReader> createDirectoryReader(ScannerUnix* pScanner,
                                                                              int fsType);
};

}  // namespace orv
