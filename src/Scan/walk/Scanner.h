#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Probe/Filesystem.h"
#include "Scan/select/SelectNode.h"
#include "Scan/walk/FileRecord.h"

namespace orv {

class ProgressPage;
class WalkPart;

class DirectoryReader;
class FileAction;
class FileTypeTable;
class UserTable;

// A where clause as one walk asks it: at most once per entry, however many actions depend on it.
// Owned by the filesystem scan for the length of the walk.
class EntrySelection final {
 public:
  // Null admits every entry. The node must outlive the selection.
  explicit EntrySelection(const SelectNode* node) noexcept : m_node(node) {}

 private:
  friend class Scanner;
  const SelectNode* m_node;
  std::int64_t m_entry = -1;  // the entry that was asked about last, as the scanner numbers them
  bool m_admits = false;      // the answer
};

// An action of the walk and the selection that admits entries to it (null admits all). Neither is
// owned by the scanner.
struct SelectedAction {
  FileAction* action;
  EntrySelection* selection;
};

// Walks the directory tree of one filesystem depth first, without recursion, with one
// DirectoryReader per open level, and hands every entry to the actions whose selection admits it.
// Made by the filesystem scan for one tree, used once, on the scanning thread. ScannerUnix adds the
// platform's way of examining an entry.
//
// Policies: entries come in directory-stream order; symbolic links are never followed; entries on
// other devices are counted but not entered; an entry that cannot be examined is reported and
// counted like them; loops cannot arise, because links are not followed and devices not crossed.
class Scanner {
 public:
  // Levels that can be open at a time; a directory below the last one is not entered.
  static constexpr int MAX_COMPONENTS = EntryRules::MAX_LEVELS;
  // Longest path, in characters, that is opened and that is examined.
  static constexpr std::size_t MAX_OPEN_PATH = 4098;
  static constexpr std::size_t MAX_STAT_PATH = 4095;
  // Directories of other filesystems that are named in the log; a host of containers has many.
  static constexpr std::int64_t MAX_FOREIGN_SHOWN = 1000;

  // `filesystem`, the actions, `users` and `fileTypes` must outlive the scanner. Actions are called
  // in their order.
  Scanner(Filesystem& filesystem, std::vector<SelectedAction> actions, UserTable& users,
          FileTypeTable& fileTypes);
  virtual ~Scanner();
  Scanner(const Scanner&) = delete;
  Scanner& operator=(const Scanner&) = delete;

  // Walks the tree. 0; 4 after a directory that could not be entered or read, or when descriptors
  // or memory ran out; 8 when the filesystem could not be accessed; -1 when the first reader is
  // missing. Throws ScanAbortException* when the scan is stopped.
  [[nodiscard]] int scan();

  // Lets another process see how far the walk is; null for nobody. Must outlive the scanner.
  void setProgress(ProgressPage* page) noexcept { m_progress = page; }

  // Makes the walk one over a part of the tree, as several do that together are one: entries get
  // their places, and what is said of a whole walk (its start, its end, how far it is) is left to
  // who divides it. Must outlive the scanner; set before `scan`.
  void setPart(WalkPart& part);
  // Entries met so far, the scan root included.
  [[nodiscard]] std::int64_t entriesMet() const noexcept { return m_total; }
  // The entry that was named last.
  [[nodiscard]] const FileAttributes& currentEntry() const noexcept { return *m_state.info; }

  // For the accumulators.

  // The filesystem being scanned.
  [[nodiscard]] const Filesystem& filesystem() const noexcept { return m_filesystem; }
  // Start of the scan in seconds since 1970: the reference of all ages.
  [[nodiscard]] std::int64_t scanStart() const noexcept { return m_selectContext.scanStart; }
  // The scan-wide file types.
  [[nodiscard]] FileTypeTable& fileTypes() const noexcept { return m_fileTypes; }
  // The scan-wide users and groups.
  [[nodiscard]] UserTable& users() const noexcept { return m_users; }

  // Whether the selection (null: yes) admits the current entry.
  [[nodiscard]] bool admits(EntrySelection* selection) const;

  // For the directory readers.

  // Stores `path` + "/" + `fileName` as the current entry's name.
  void ScannerFinishOffNextEntry(const std::string& path, const char* fileName);
  // Copies a path that is to be opened; false, with a message, when it is longer than
  // MAX_OPEN_PATH.
  [[nodiscard]] bool ScannerInitOpen(const std::string& path, std::string& buffer,
                                     std::size_t* pLength) const;
  // Copies what can be examined of a path (MAX_STAT_PATH characters) into the working record.
  void ScannerInitStat(const std::string& path, FileRecord* file) const;
  // Told of the errno value of what could not be opened or examined: want of descriptors or memory
  // makes the walk incomplete, anything else is the entry's own matter.
  void noteFailure(int error) noexcept;
  // An entry, and all below it, is left out because its local path is too long: no message of its
  // own, one for all of them when the walk ends.
  void noteLeftOut() noexcept { ++m_leftOut; }
  // Encodes 8-bit text as UTF-8 into at most `size` bytes of `out`. The number of bytes that the
  // whole text needs; -1 for a null argument.
  static int ScannerToUTF8(const char* in, char* out, int size);

 protected:
  // The reader of the directory that is the current path now, opened. `argument` is 1 for the root
  // and 0 below it. Throws what opening throws.
  [[nodiscard]] virtual std::unique_ptr<DirectoryReader> makeReader(int argument) = 0;

  // The directory to leave out at the top level besides those named ".snapshot"; empty for none.
  [[nodiscard]] virtual std::string snapshotDirectory() { return {}; }

  [[nodiscard]] WalkState& state() noexcept { return m_state; }
  // The open directory above the one being opened; -1 at the root.
  [[nodiscard]] int parentDirectoryFd() const noexcept;

  // Called when the root was opened (`directory`; -1 when it could not be) and before it is
  // examined; a subclass ends the walk by throwing a GenericException*.
  virtual void checkRoot(int /*directory*/) {}
  // Opens the directory that holds the root of a part below the scan root, and makes sure that it
  // lies in the tree; sets `rules.device`. 0 and the descriptor, which the subclass keeps, or the
  // errno value. May throw as `checkRoot` does.
  [[nodiscard]] virtual int openAbovePart(const std::string& path, int& directory);
  // Called after every entry; a subclass ends the walk by throwing a GenericException*.
  virtual void checkFilesystem() {}

  // Frees the readers of all levels.
  void closeReaders() noexcept;

 private:
  // The readers fill the state and have the actions of each entry selected.
  friend class DirectoryReader;

  [[nodiscard]] int walk();
  [[nodiscard]] bool openRoot();
  void enterRoot();
  [[nodiscard]] bool beginPart();
  void notePlace();
  void leaveOver();
  void walkEntries();
  void handleEntry();
  // Collects the positions of the actions whose selection admits the current entry.
  void selectActions();
  void accumulate();
  void noteForeign();
  void advance(Passage passage);
  [[nodiscard]] bool enterNextLevel(Passage passage);
  void enterDirectory();
  [[nodiscard]] bool nextGood(int fsType);
  void leaveDirectory();
  void decrementLevel(const std::string& path);
  void countEntry();
  void reportProgress();
  void showDirectory() const noexcept;

  Filesystem& m_filesystem;
  std::vector<SelectedAction> m_actions;
  UserTable& m_users;
  FileTypeTable& m_fileTypes;

  int m_rc = 0;
  std::int64_t m_leftOut = 0;  // entries whose local path is too long
  std::int64_t m_foreign = 0;  // directories that lie on other devices
  WalkState m_state;
  SelectContext m_selectContext{};
  std::vector<std::unique_ptr<DirectoryReader>> m_arrayReader;  // by level
  std::int64_t m_entry = 0;                                     // number of the current entry
  std::vector<std::uint16_t> m_matching;  // positions of the current entry's actions
  ProgressPage* m_progress = nullptr;
  std::int64_t m_total = 1;        // entries met, the root included
  std::int64_t m_sinceReport = 1;  // entries since the last progress message

  // Of a directory on the way down: its place, and the position of the entry that comes next.
  struct Level {
    std::string place;
    std::uint64_t next = 0;
  };
  WalkPart* m_part = nullptr;   // null when the walk does the whole tree
  int m_firstLevel = 0;         // of the directory that the walk begins with
  int m_abovePart = -1;         // the open directory above it; -1 for the scan root
  std::vector<Level> m_places;  // by level
};

}  // namespace orv
