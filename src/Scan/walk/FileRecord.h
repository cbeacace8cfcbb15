#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "Scan/entry/FileAttributes.h"
#include "Scan/walk/EntryStat.h"

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

// Where the walk is: what the scanner shares with the readers of its levels. One per scanner, used
// on the scanning thread.
struct WalkState {
  std::string rootPath;      // without a trailing "/", but for the root directory itself
  std::string path;          // of the directory being read
  int level = 0;             // of the directory being read, or opened; 0 for the scan root
  std::int64_t device = -1;  // low 32 bits of the scan root's; -1 when it could not be examined
  std::unique_ptr<FileAttributes> info;  // the current entry
  FileRecord file;                       // its working record

  [[nodiscard]] bool isAtRoot() const noexcept { return level == 0; }
  // End of a directory: the path loses its last component; the scan root is never cut.
  void stepToParent() noexcept;
};

}  // namespace orv
