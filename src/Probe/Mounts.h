#pragma once

#include <sys/statvfs.h>

#include <cstdio>
#include <memory>

#include "Probe/MountTree.h"

namespace orv {

class Filesystem;

// Reader of the host's mount table, and the capacity figures of what it lists. Made for one pass
// over the table: closed, then open and read-locked, then closed again at the end. Used on the
// job's thread.
//
//   Mounts mounts;
//   if (mounts.openMnttab())
//     while (mounts.nextMount())
//       use(mounts.current());
class Mounts final {
 public:
  // The system's own table.
  static constexpr const char* MOUNT_TABLE = "/etc/mtab";

  // `table` names another file of that format where the system's own is not meant.
  explicit Mounts(std::string table = MOUNT_TABLE) : m_path(std::move(table)) {}
  Mounts(const Mounts&) = delete;
  Mounts& operator=(const Mounts&) = delete;

  // Opens the table, a regular file, and waits for a read lock on it; both failures are reported in
  // the log. Throws ScanAbortException* when the job is stopped meanwhile.
  [[nodiscard]] bool openMnttab();

  // Goes to the next entry of a type that can be scanned, in table order: of two with one mount
  // point the later one is in force. False at the end, and at a fileset whose cluster is unknown
  // (reported); the table is then unlocked and closed. Entries whose fields do not fit into the
  // buffer of 1,024 characters are reported and passed over, since their mount point is not known
  // whole; so is a table that cannot be read to its end.
  [[nodiscard]] bool nextMount();

  // The types of the entries passed over because their type is never scanned, by mount point.
  [[nodiscard]] const std::map<std::string, std::string>& excluded() const noexcept {
    return m_excluded;
  }

  // The entry that nextMount found.
  [[nodiscard]] const MountEntry& current() const noexcept { return m_current; }

  // Fills capacity, inode and physical size figures of `filesystem` from what is mounted at the
  // entry's mount point. 0; 12 when it does not answer (reported, the record unchanged), within
  // `nfsTimeout` seconds where that is above 0, as `statThread` tells; 4 when the device of an ext
  // or FAT filesystem cannot be opened (reported, the capacity figures are set).
  [[nodiscard]] static int statFS(const MountEntry& entry, Filesystem& filesystem, int nfsTimeout,
                                  StatThread& statThread);

  // Sets the figures that `st` holds, the physical size being the capacity. Units: 512 bytes.
  static void setCapacity(const struct statvfs64& st, const MountEntry& entry,
                          Filesystem& filesystem);

 private:
  struct Close {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
  };

  [[nodiscard]] bool readEntry();
  [[nodiscard]] bool nameFileset();
  void closeMnttab();

  std::string m_path;
  std::unique_ptr<std::FILE, Close> m_table;
  MountEntry m_current;
  std::map<std::string, std::string> m_excluded;
};

// The name under which the cluster knows the fileset of a ZENFS mount entry: "<cluster>/<source>".
// The cluster is named by the first line of /etc/zenfs/cluster. Empty, and reported, when that is
// missing.
[[nodiscard]] std::string getZenfsClusterName(const MountEntry& entry);

}  // namespace orv
