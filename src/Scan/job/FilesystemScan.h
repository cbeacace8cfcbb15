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
#include "Scan/job/ScanOptions.h"
#include "Scan/job/ShareWalk.h"
#include "Scan/unix/UnixUserTable.h"
#include "runtime/unx/virtstat.h"

namespace orv {

class AgentScan;
class DirectoryWatch;
class GenericPrint;
class ProgressPage;

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

  // Walks one share of the job's one filesystem and completes its state, instead of `doScan`. Files
  // without names are made in `temporary`; `walking` is told when the walk begins and ends. As
  // `doScan`, and 8 when the share cannot be walked, whose state is then not completed. Throws
  // StateError, also where another filesystem is mounted, or none.
  [[nodiscard]] int doShare(AgentScan* job, const share::Share& share, share::StateWriter& state,
                            const std::string& temporary, const std::function<void(bool)>& walking);

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
  [[nodiscard]] int prepare(AgentScan& job);
  [[nodiscard]] WalkSetting setting() noexcept;
  [[nodiscard]] bool mayBeSpread(const FSRef& ref) const;
  [[nodiscard]] int runSpread(FSRef& ref);

  void matchFilesystems(AgentScan& job);
  void matchFilesystem(Filesystem& filesystem);
  [[nodiscard]] bool examine(const MountEntry& entry, Filesystem& filesystem, MountRoot& root);
  [[nodiscard]] const MountEntry* findMount(const Filesystem& filesystem) const;
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
  CuStatDef* m_profiles = nullptr;  // the head of the job's chain
  Bindings m_bindings;
  std::vector<Filesystem*> m_fakes;
  std::size_t m_scannedCount = 0;
  UberTable m_uberTable;
  UnixUserTable m_userTable;
  FileTypeTable m_fileTypes;
};

}  // namespace orv
