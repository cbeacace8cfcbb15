#include "Scan/unix/DirectoryReaderFactory.h"

#include "Scan/unix/DirectoryReaderAhead.h"
#include "Scan/unix/DirectoryReaderUnix.h"
#include "Scan/unix/ScannerUnix.h"
#include "runtime/ut/Trace.h"

namespace orv {

std::unique_ptr<DirectoryReader> DirectoryReaderFactory::createDirectoryReader(
    ScannerUnix* pScanner, int fsType) {
  if (pScanner == nullptr) {
    TRACE(TR_MAX,
          "DirectoryReaderFactory::createDirectoryReader() : ERROR: The given Scanner reference "
          "<pScanner> is NULL. Leaving method.");
    return nullptr;
  }
  std::unique_ptr<DirectoryReader> reader;
  if (ReadAhead* ahead = pScanner->readAhead())
    reader = std::make_unique<DirectoryReaderAhead>(*pScanner, *ahead);
  else
    reader = std::make_unique<DirectoryReaderUnix>(*pScanner);
  reader->init(pScanner, fsType);
  return reader;
}

}  // namespace orv
