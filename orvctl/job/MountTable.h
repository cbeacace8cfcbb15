#pragma once

#include <string>
#include <string_view>
#include <vector>

// What is mounted on this host, by the kernel's own table. Reading it touches no mount.
namespace orv::ctl {

struct MountPoint {
  int id = 0;
  int parent = 0;
  std::string device;  // "major:minor"
  std::string root;    // the directory of the filesystem that is mounted
  std::string path;
  std::string options;  // of this mount, "rw,noatime"
  std::string type;
  std::string source;

  // Access times tell nothing here.
  [[nodiscard]] bool withoutAccessTimes() const;
  // A server or a process of its own answers for it, and may not: network filesystems and what runs
  // in user space, but for disks of other systems.
  [[nodiscard]] bool mayHang() const;
  // Holds no files of anybody: the kernel's own filesystems, and images that never change.
  [[nodiscard]] bool isPseudo() const;
};

class MountTable final {
 public:
  // Throws CtlError when the table cannot be read.
  [[nodiscard]] static MountTable read(const std::string& file = "/proc/self/mountinfo");
  [[nodiscard]] static MountTable parse(std::string_view text);

  // The mount that an absolute path without "." or ".." lies on; null for an empty table.
  [[nodiscard]] const MountPoint* of(std::string_view path) const;

  // What is mounted below a directory and can be reached, by path.
  [[nodiscard]] std::vector<const MountPoint*> below(std::string_view path) const;

  // The filesystems whose files lie on this host, each by one mount point, and with `network` those
  // of servers, too. Of what shows in several places the place counts that shows most of it.
  [[nodiscard]] std::vector<const MountPoint*> filesystems(bool network) const;

 private:
  [[nodiscard]] bool isHidden(const MountPoint& mount) const;

  std::vector<MountPoint> m_mounts;  // in the order of mounting
};

// Whether `path` is `directory` or lies below it. Both are absolute and without "/" at the end.
[[nodiscard]] bool liesIn(std::string_view path, std::string_view directory);

}  // namespace orv::ctl
