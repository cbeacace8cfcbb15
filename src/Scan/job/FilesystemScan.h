#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Probe/Filesystem.h"
#include "Probe/MountTree.h"
#include "Probe/Mounts.h"
#include "Scan/entry/FileType.h"
#include "Scan/entry/UserTable.h"
#include "Scan/job/Bindings.h"
#include "Scan/unix/UnixUserTable.h"
#include "runtime/unx/virtstat.h"

namespace orv {

class AgentScan;
class DirectoryWatch;
class GenericPrint;
class ProgressPage;
class WalkSelections;

// What the environment tells the job, besides its command line and its definition. Read once, by
// the driver.
struct ScanOptions {
  int walkThreads = 1;                           // helpers that read ahead of the walk; 1 for none
  std::string mountTable = Mounts::MOUNT_TABLE;  // the file that lists what is mounted
  std::string progressFile = {};                 // where the walk shows how far it is, or empty
};

// Mount table entries by mount point and, for network mounts, also by source.
using MountsMap = std::map<std::string, MountEntry>;

// Turns the definition of one job into scan work and runs it: matches the filesystems with the
// mount table, binds profiles to them, walks them one after the other and writes each one's results
// before the next. Owned by the driver, used on the job's thread, one `doScan` per object.
class FilesystemScan {
 public:
  explicit FilesystemScan(ScanOptions options = {});
  virtual ~FilesystemScan();
  FilesystemScan(const FilesystemScan&) = delete;
  FilesystemScan& operator=(const FilesystemScan&) = delete;

  // The result writer; must outlive the scan. Null is traced and leaves what was set.
  void setGenericPrint(GenericPrint* print);

  // How to release the lock of a filesystem whose walk failed; the driver holds the locks.
  void setUnlocker(std::function<void(const Filesystem&)> unlocker);

  // Scans the job's filesystems. `nfsTimeout` in seconds, 0 for none. 0; 4 when something could not
  // be scanned; 12 when nothing could. Throws ScanAbortException* when the scan is stopped.
  [[nodiscard]] int doScan(AgentScan* job, int nfsTimeout);

  // Writes one filesystem's part of the data section.
  void printData(GenericPrint* print, const FSRef& ref) const;

  // Reads the whole mount table into `map`, which is emptied first. 0, or 4 when it cannot be read.
  [[nodiscard]] int makeMountsMap(MountsMap& map);

  // Locking within the scan: nothing to do here, the driver locks the filesystems. 0.
  static int lock(const AgentScan* job);
  static int unlock(const AgentScan* job);
  void unlockOne(const Filesystem* pFilesystem) const;

 private:
  [[nodiscard]] bool handleMounts(MountsMap& map);

  void matchFilesystems(AgentScan& job);
  void matchFilesystem(Filesystem& filesystem);
  [[nodiscard]] bool examine(const MountEntry& entry, Filesystem& filesystem, MountRoot& root);
  [[nodiscard]] const MountEntry* findMount(const Filesystem& filesystem) const;
  [[nodiscard]] std::unique_ptr<DirectoryWatch> makeWatch(const FSRef& ref,
                                                          WalkSelections& selections) const;
  void printDirectoryResults(GenericPrint& print, const FSRef& ref) const;
  void walkFilesystem(FSRef& ref);
  [[nodiscard]] int runScanner(FSRef& ref);
  void reportFailedLookups(const FSRef& ref);
  void copyCapacity(FSRef& ref);
  void giveUp(FSRef& ref);
  void removeReferencesTo(FSRef& ref);
  void raise(int rc) noexcept;
  void restoreFakes();

  GenericPrint* m_print = nullptr;
  std::function<void(const Filesystem&)> m_unlocker;

  ScanOptions m_options;
  std::unique_ptr<ProgressPage> m_progress;
  int m_rc = 0;
  int m_nfsTimeout = 0;
  StatThread m_statThread;
  MountsMap m_mounts;
  std::map<std::string, std::string> m_excluded;  // types that are never scanned, by mount point
  MountTree m_mountTree;
  Bindings m_bindings;
  std::vector<Filesystem*> m_fakes;
  std::size_t m_scannedCount = 0;
  UberTable m_uberTable;
  UnixUserTable m_userTable;
  FileTypeTable m_fileTypes;
};

}  // namespace orv
