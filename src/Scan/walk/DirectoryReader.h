#pragma once

#include <cstdint>
#include <string>

namespace orv {

class Scanner;
struct FileAttributes;
struct FileRecord;
struct WalkState;

// Reads one directory for the walk: opens it, names one entry after the other, has each examined
// and applies the error policy. One per open level, owned by the scanner, used on the scanning
// thread. The stream is closed at its end, and by the destructor of a reader that is given up
// before.
class DirectoryReader {
 public:
  DirectoryReader() = default;
  virtual ~DirectoryReader() = default;
  DirectoryReader(const DirectoryReader&) = delete;
  DirectoryReader& operator=(const DirectoryReader&) = delete;

  // Ties the reader to its scanner and opens the scanner's current path. A GenericException of the
  // messages STA0529E and STA0530E is passed on; any other is issued, and the reader then has no
  // stream.
  void init(Scanner* pScanner, int fsType);

  // Produces the next entry in the scanner's FileAttributes. False at the end of the directory,
  // which also makes the parent the scanner's current path. Throws LocalizableException after a
  // read error, and ScanAbortException* when the scan is stopped.
  [[nodiscard]] bool next(int fsType);

  // Fills `info` from an examined entry: resolves owner and group and selects the actions that the
  // entry belongs to.
  void ScannerFinishOffStat(FileAttributes* info, FileRecord* file);

  // The open stream as a number; 0 when closed. `setHandle` gives 1 when it replaced another one.
  [[nodiscard]] virtual long getHandle() const = 0;
  virtual int setHandle(long handle) = 0;

  // The stream on `path`, or 0: a directory that cannot be opened is reported and has no entries.
  [[nodiscard]] virtual long open(const std::string& path) = 0;

  // Names the next entry below `path`. False at the end of the stream, which is then closed.
  [[nodiscard]] virtual bool nextEntry(const std::string& path, long handle, int fsType) = 0;

  // Examines the entry that `nextEntry` named (or `path` itself before the first one). The low 32
  // bits of its device number, or -1 when it could not be examined.
  [[nodiscard]] virtual std::int64_t stat(const std::string& path, FileAttributes* info,
                                          int fsType) = 0;

  // The descriptor of the open directory, for examining and opening what lies in it; -1 if closed.
  [[nodiscard]] virtual int directoryFd() const noexcept = 0;

 protected:
  // Closes the stream after a failure and lets the scanner step back to the parent directory.
  virtual void abandon() noexcept = 0;

  // Where the walk is. Valid after `init`.
  [[nodiscard]] WalkState& walk() const noexcept { return *m_walk; }

 private:
  std::int64_t examine(int fsType);

  Scanner* m_scanner = nullptr;
  WalkState* m_walk = nullptr;
};

}  // namespace orv
