#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Probe/Filesystem.h"
#include "Scan/FileAttributes.h"
#include "Scan/SelectNode.h"

namespace orv {

class DirectoryReader;
class FileAction;
class FileTypeTable;
class UserTable;
struct FileRecord;

// An action of the walk and the selection that admits entries to it (null admits all). Neither is
// owned by the scanner.
struct SelectedAction {
  FileAction* action;
  const SelectNode* selection;
};

// Walks the directory tree of one filesystem depth first, without recursion, with one
// DirectoryReader per open level, and hands every entry to the actions whose selection admits it.
// Made by the filesystem scan for one tree, used once, on the scanning thread. ScannerUnix adds the
// platform's way of examining an entry.
//
// Policies: entries come in directory-stream order; symbolic links are never followed; other devices
// are counted but not entered; a loop cannot arise without followed links; an entry that vanishes
// under the walk is reported and counted as not examinable.
class Scanner {
 public:
  // Levels that can be open at a time; a directory at the last one is not entered.
  static constexpr int MAX_COMPONENTS = 200;
  // Longest path, in characters, that is opened and that is examined.
  static constexpr std::size_t MAX_OPEN_PATH = 4098;
  static constexpr std::size_t MAX_STAT_PATH = 4095;

  Scanner(Filesystem& filesystem, std::vector<SelectedAction> actions, UserTable& users,
          FileTypeTable& fileTypes);
  virtual ~Scanner();
  Scanner(const Scanner&) = delete;
  Scanner& operator=(const Scanner&) = delete;

  // Walks the tree. 0; 4 after a directory that could not be entered or read; 8 when the filesystem
  // could not be accessed; -1 when the first reader is missing. Throws ScanAbortException* when the
  // scan is stopped.
  [[nodiscard]] int scan();

  // The filesystem being scanned.
  [[nodiscard]] const Filesystem& filesystem() const noexcept { return m_filesystem; }
  // Start of the scan in seconds since 1970: the reference of all ages.
  [[nodiscard]] std::int64_t scanStart() const noexcept { return m_scanStart; }
  // The scan-wide file types.
  [[nodiscard]] FileTypeTable& fileTypes() const noexcept { return m_fileTypes; }

 protected:
  Filesystem& m_filesystem;
  UserTable& m_users;
  FileTypeTable& m_fileTypes;
  std::int64_t m_scanStart = 0;
};

}  // namespace orv
