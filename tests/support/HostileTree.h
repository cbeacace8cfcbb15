#pragma once

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <ctime>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace orv::test {

// Makes a tree that holds what makes a scan err: links, holes, odd times, odd owners, odd names.
class HostileTree final {
 public:
  explicit HostileTree(std::string root) : m_root(std::move(root)) {
    makeSizes();
    makeTimes();
    makeLinks();
    makeNames();
    makeSpecials();
    if (::geteuid() == 0)
      makeOwners();
  }

 private:
  [[nodiscard]] std::string at(const std::string& name) const { return m_root + "/" + name; }

  void directory(const std::string& name) const { std::filesystem::create_directories(at(name)); }

  void file(const std::string& name, off_t size, mode_t mode = 0644) const {
    const int fd = ::open(at(name).c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    if (fd < 0 || ::ftruncate(fd, size) != 0 || ::fchmod(fd, mode) != 0)
      throw std::runtime_error("create " + at(name));
    ::close(fd);
  }

  // Sizes on both sides of every bound of the size distribution, and the sparse giants.
  void makeSizes() const {
    directory("sizes/empty");
    for (const off_t bound : {0L, 2L, 20L, 200L, 2048L, 20480L, 204800L, 1024000L})
      for (const off_t step : {0L, 1L})
        file("sizes/s" + std::to_string(bound + step) + ".bin", bound + step);
    file("sizes/3GiB.img", 3L << 30);
    file("sizes/4GiB+77.img", (4L << 30) + 77);
    file("sizes/1KiB.img", 1024);
    for (int i = 0; i < 6; ++i)
      file("sizes/tie" + std::to_string(i), 5000);
  }

  // Ages around every bound, close enough together that the scan's start hits each exactly.
  void makeTimes() const {
    directory("times");
    const std::time_t now = std::time(nullptr);
    const std::time_t bounds[] = {-86400,  0,        86400,    604800,   2592000,   5184000,
                                  7776000, 15552000, 23328000, 31557600, 1000000000};
    for (const std::time_t bound : bounds)
      for (std::time_t offset = -6; offset <= 3; ++offset) {
        const std::string name =
            "times/t" + std::to_string(bound) + "_" + std::to_string(offset + 6) + ".time";
        file(name, 10);
        const std::time_t modified = now - bound - offset;
        // Accessed in turn before and after the modification.
        const timespec times[2] = {{modified + (offset % 2 == 0 ? -5000 : 70), 500'000'000},
                                   {modified, 999'999'999}};
        ::utimensat(AT_FDCWD, at(name).c_str(), times, 0);
      }
    file("times/before1970", 1);
    const timespec ancient[2] = {{-86400 * 400, 0}, {-86400 * 400, 0}};
    ::utimensat(AT_FDCWD, at("times/before1970").c_str(), ancient, 0);
  }

  void makeLinks() const {
    directory("links/a");
    directory("links/b");
    file("links/a/twice", 3000);
    file("links/a/thrice.dat", 70000);
    ::link(at("links/a/twice").c_str(), at("links/a/twice2").c_str());
    ::link(at("links/a/thrice.dat").c_str(), at("links/b/thrice.dat").c_str());
    ::link(at("links/a/thrice.dat").c_str(), at("links/b/thrice.other").c_str());
    // Its other name lies outside the tree: the only name inside is the first one met.
    file("links/once", 12345);
    ::link(at("links/once").c_str(), (m_root + ".outside").c_str());
    ::symlink("../sizes", at("links/to-directory").c_str());
    ::symlink("/nowhere/at/all", at("links/dangling").c_str());
    ::symlink(".", at("links/loop").c_str());
    ::symlink("once", at("links/named.link").c_str());
  }

  void makeNames() const {
    directory("names");
    const std::string names[] = {"comma,in.the,name",
                                 "quote\"in\"name.q\"t",
                                 " blanks at ends ",
                                 "line\nbreak\r.txt",
                                 "invalid\xff\xfe.utf8",
                                 "tab\tname",
                                 "null",
                                 "archive.tar.gz",
                                 "README",
                                 ".bashrc",
                                 ".profile",
                                 "x.",
                                 "data.abcdef",
                                 "data.abcdefg",
                                 "photo.jpeg2000",
                                 "UPPER.TXT",
                                 "lower.txt",
                                 "[Tag]",
                                 "back\\slash.a\\b",
                                 "emoji\xF0\x9F\x98\x80.dat",
                                 std::string(255, 'n'),
                                 "dot.s p",
                                 "..three"};
    for (const std::string& name : names)
      file("names/" + name, 4);
    directory("names/dir.with.dots/inner,dir");
    file("names/dir.with.dots/noext", 7);
    file("names/dir.with.dots/inner,dir/x.deep", 9);
  }

  void makeSpecials() const {
    directory("special");
    ::mkfifo(at("special/fifo").c_str(), 0600);
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = at("special/socket");
    if (path.size() < sizeof address.sun_path) {
      std::memcpy(address.sun_path, path.c_str(), path.size());
      (void)::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
    }
    ::close(fd);
    (void)::mknod(at("special/char").c_str(), S_IFCHR | 0600, makedev(1, 3));
    (void)::mknod(at("special/block").c_str(), S_IFBLK | 0600, makedev(7, 200));
    file("special/setuid", 11, 04755);
    file("special/setgid", 12, 02755);
    file("special/execute-only", 13, 0100);
    directory("special/sticky");
    ::chmod(at("special/sticky").c_str(), 01777);
  }

  void makeOwners() const {
    directory("owners/orphaned-dir");
    struct Owned {
      const char* name;
      uid_t uid;
      gid_t gid;
      off_t size;
    };
    const Owned rows[] = {
        {"owners/orphan1", 54321, 0, 777},       {"owners/orphan2.old", 54322, 54323, 5L << 30},
        {"owners/group-only", 0, 54324, 888},    {"owners/high", 4294967294U, 4294967294U, 99},
        {"owners/daemon", 1, 1, 1000},           {"owners/nobody", 65534, 65534, 50},
        {"owners/orphan3.mid", 54321, 0, 40000}, {"owners/orphan4.big", 54325, 0, 3L << 30}};
    for (const Owned& row : rows) {
      file(row.name, row.size);
      (void)::lchown(at(row.name).c_str(), row.uid, row.gid);
    }
    // Of each owner two files: the larger one comes first for some of them.
    for (uid_t uid = 56000; uid < 56010; ++uid)
      for (const char* name : {"/a", "/bb"}) {
        const std::string path = "owners/pairs" + std::to_string(uid) + name;
        directory(path.substr(0, path.rfind('/')));
        file(path, static_cast<off_t>(1000 * std::strlen(name)));
        (void)::lchown(at(path).c_str(), uid, 0);
      }
    (void)::lchown(at("owners/orphaned-dir").c_str(), 60001, 60002);
    ::symlink("orphan1", at("owners/orphan-link").c_str());
    (void)::lchown(at("owners/orphan-link").c_str(), 54321, 54323);
    const timespec old[2] = {{1000000, 0}, {1000000, 0}};
    ::utimensat(AT_FDCWD, at("owners/orphan2.old").c_str(), old, 0);
  }

  std::string m_root;
};

}  // namespace orv::test
