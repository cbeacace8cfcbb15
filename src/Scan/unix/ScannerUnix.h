#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>

#include "Scan/unix/DirectoryWindow.h"
#include "Scan/unix/ReadAhead.h"
#include "Scan/unix/WalkOptions.h"
#include "Scan/walk/LocalPath.h"
#include "Scan/walk/Scanner.h"

namespace orv {

// The scanner of this platform: examines entries with lstat (or through the stat with time-out) and
// opens directories. Owner and threads as for Scanner.
class ScannerUnix final : public Scanner {
 public:
  // Calls in a row that went unanswered, after which the filesystem is given up.
  static constexpr int MAX_TIMEOUTS = 10;

  ScannerUnix(Filesystem& filesystem, std::vector<SelectedAction> actions, UserTable& users,
              FileTypeTable& fileTypes, WalkOptions options);
  ~ScannerUnix() override;

  // Examines the entry that the record names and fills its type, attribute flags and figures. An
  // entry that cannot be examined is reported; then false.
  [[nodiscard]] bool Stat(FileRecord& file);

  // How the scan root is reached on this machine; null when its own name serves.
  [[nodiscard]] const LocalPath* localPath() const noexcept { return m_localPath.get(); }
  void setLocalPath(const std::string& serverRoot, const std::string& localRoot);
  // Kept for a scanner that goes over to the name which the server knows; the job makes one per
  // tree.
  void freeLocalPath() noexcept { m_localPath.reset(); }

  // Whether other processes make the calls on the filesystem, and each may take some time only.
  [[nodiscard]] bool hasTimeout() const noexcept { return m_options.statTimeout > 0; }
  // Counts an answer of the filesystem: 0, or an errno value.
  void noteAnswer(int error) noexcept {
    m_timeoutsInRow = error == ETIMEDOUT ? m_timeoutsInRow + 1 : 0;
  }
  // Has the stat thread make a call, see StatThread. 0, or the errno value; throws
  // ScanAbortException* when the scan is stopped meanwhile.
  [[nodiscard]] int ask(int operation, const char* path, int flag, void* buffer);

  // What to open for `path`: the path itself or, with a local-path record, its local name. False
  // when it is too long.
  [[nodiscard]] bool pathToOpen(const std::string& path, std::string& local);
  // Likewise what to examine, in the record.
  [[nodiscard]] bool pathToExamine(const std::string& path, FileRecord& file);

  // Opens a directory below `parent` for reading, close-on-exec and without touching its access
  // time where that is allowed; `noFollow` refuses a link. -1 with errno on failure. For any
  // thread.
  [[nodiscard]] int openDirectory(int parent, const char* name, bool noFollow) noexcept;

  // The window for a large directory; null when the filesystem is not on a local disk or another
  // directory has the window: one at a time bounds the memory of trees with many large directories.
  [[nodiscard]] std::shared_ptr<DirectoryWindow> lendWindow();

  // The open directory above the one being opened; -1 at the root.
  using Scanner::parentDirectoryFd;

  // What reads ahead of the walk; null when no helper was asked for, or none may be used.
  [[nodiscard]] ReadAhead* readAhead() const noexcept { return m_readAhead.get(); }
  // What they must know. Called once the root was examined.
  [[nodiscard]] AheadRules aheadRules(int fsType);

 protected:
  [[nodiscard]] std::unique_ptr<DirectoryReader> makeReader(int argument) override;
  [[nodiscard]] std::string snapshotDirectory() override;
  void checkRoot(int directory) override;
  void checkFilesystem() override;

 private:
  [[nodiscard]] bool toLocalPath(const std::string& path, std::string& local,
                                 std::size_t available);
  [[nodiscard]] int examine(FileRecord& file);
  [[nodiscard]] bool isOnLocalDisk();

  WalkOptions m_options;
  Membership m_membership = Membership::BY_DEVICE;
  int m_timeoutsInRow = 0;  // calls since the last one that was answered, in the walk's order
  std::unique_ptr<LocalPath> m_localPath;
  std::atomic<bool> m_mayKeepAccessTime{true};
  std::optional<bool> m_onLocalDisk;  // found out when first asked
  std::weak_ptr<DirectoryWindow> m_lentWindow;
  std::unique_ptr<ReadAhead> m_readAhead;
};

}  // namespace orv
