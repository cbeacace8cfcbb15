#pragma once

#include <cstdint>
#include <string>

#include "Scan/unix/EntryStat.h"

namespace orv {

class Scanner;

// The working record of one entry, shared by the reader that names it and the scanner that examines
// it. One per scanner, reused; used on the scanning thread.
struct FileRecord {
  Scanner* scanner = nullptr;
  std::uint8_t type = 0;         // type code of the entry
  std::uint32_t attributes = 0;  // attribute flags made from the mode
  int directory = AT_FDCWD;      // open directory that `name` is relative to; AT_FDCWD for a path
  const char* name = nullptr;    // what to examine, below `directory`
  std::string path;              // the path to examine where no directory is used
  bool pathIsCut = false;        // the reported path exceeds what can be examined
  bool examined = false;         // `st` is filled already, or `error` tells why it is not
  int error = 0;                 // errno of the examination
  EntryStat st{};

  // Makes `path` what is examined.
  void useOwnPath() noexcept {
    directory = AT_FDCWD;
    name = path.c_str();
  }
};

}  // namespace orv
