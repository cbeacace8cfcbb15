#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Probe/MountTree.h"
#include "Scan/unix/DirectoryStream.h"
#include "Scan/unix/ReadAhead.h"
#include "Scan/walk/DirectoryReader.h"
#include "Scan/walk/Scanner.h"
#include "runtime/ut/UniqueFd.h"

namespace orv {

class ScannerUnix;
class StatThread;

// How one filesystem is walked, besides what is looked for. Made by the driver for the job and
// completed by the filesystem scan; nothing below looks for options of its own.
struct WalkOptions {
  int statTimeout = 0;    // seconds that a call on the filesystem may take; 0 for any time
  int helpers = 1;        // that read ahead of the walk; 1 for none, see walkThreads
  std::string localRoot;  // of a tree that the server knows under another name, or empty
  StatThread* statThread = nullptr;  // makes single calls where there is a time-out; not owned
  // What was found when the filesystem was matched: the walk fails when its root is another one by
  // then. Without it whatever is there is walked, and told from other filesystems by its device.
  std::optional<MountRoot> root = {};
};

// How this machine reaches a scanned directory that the server knows under another name (a filer's
// export mounted here). Owned by the scanner; without one, paths are used as they are.
struct LocalPath {
  std::string serverRoot;  // the scan root as the server names it, without a trailing "/"
  std::string localRoot;   // the local path of the same directory, without a trailing "/"

  // Translates a server path below `serverRoot` into the local one. `available` is the room in
  // characters; on success it becomes the translation's length. False when the translation needs
  // more room: `local` then holds what fits.
  [[nodiscard]] bool retrieve(std::string_view path, std::string& local,
                              std::size_t& available) const;
};

// Makes the reader that suits a scanner's options: read ahead, which a stat
// time-out asks for as well, or a plain directory stream.
class DirectoryReaderFactory final {
 public:
  // A reader tied to the scanner, with its current path open; null for a null scanner. `fsType` is
  // what the walk hands on: 1 for the root, 0 for what lies below, no type code.
  [[nodiscard]] static std::unique_ptr<DirectoryReader> createDirectoryReader(ScannerUnix* pScanner,
                                                                              int fsType);
};

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
  [[nodiscard]] int openAbovePart(const std::string& path, int& directory) override;
  void checkFilesystem() override;

 private:
  [[noreturn]] void giveUpFilesystem() const;
  [[nodiscard]] bool toLocalPath(const std::string& path, std::string& local,
                                 std::size_t available);
  [[nodiscard]] int examine(FileRecord& file);
  [[nodiscard]] bool isOnLocalDisk();

  WalkOptions m_options;
  UniqueFd m_abovePart;
  Membership m_membership = Membership::BY_DEVICE;
  int m_timeoutsInRow = 0;  // calls since the last one that was answered, in the walk's order
  std::unique_ptr<LocalPath> m_localPath;
  std::atomic<bool> m_mayKeepAccessTime{true};
  std::optional<bool> m_onLocalDisk;  // found out when first asked
  std::weak_ptr<DirectoryWindow> m_lentWindow;
  std::unique_ptr<ReadAhead> m_readAhead;
};

}  // namespace orv
