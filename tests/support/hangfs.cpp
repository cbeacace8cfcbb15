// hangfs SOURCE MOUNTPOINT [statfs]: a filesystem that shows SOURCE, read-only, at MOUNTPOINT and
// never answers for entries of certain names. Directories list their names in order. Runs in the
// foreground until it is killed.
//
//   hang-stat...   when it is looked up or examined
//   hang-open...   when it is opened
//   hang-read...   when it is read
//
// With "statfs" it never answers for the filesystem's figures either. It speaks to the kernel
// itself, so that a request can be taken and simply left: no other request waits for that one.

#include <dirent.h>
#include <fcntl.h>
#include <linux/fuse.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr int NO_ANSWER = -1;
constexpr std::uint32_t MAX_WRITE = 4096;

// A request as the kernel hands it over: a header, then the operation's own structure or a name.
struct Request {
  const fuse_in_header* header;
  const char* body;

  template <typename In>
  [[nodiscard]] const In& as() const {
    return *reinterpret_cast<const In*>(body);
  }
};

class Server final {
 public:
  Server(std::string source, bool hangsOnStatfs, int device)
      : m_source(std::move(source)), m_hangsOnStatfs(hangsOnStatfs), m_device(device) {}

  // Answers until the mount is gone; 0 then.
  int run() {
    std::vector<char> buffer(1 << 17);
    for (;;) {
      const ssize_t got = ::read(m_device, buffer.data(), buffer.size());
      if (got < 0 && (errno == EINTR || errno == ENOENT || errno == EAGAIN))
        continue;
      if (got < 0)
        return errno == ENODEV ? 0 : 1;
      const auto* header = reinterpret_cast<const fuse_in_header*>(buffer.data());
      answer({header, buffer.data() + sizeof *header});
    }
  }

 private:
  // An operation fills `m_out` and gives 0, an errno value, or NO_ANSWER.
  using Operation = int (Server::*)(const Request&);

  static Operation operationOf(std::uint32_t opcode) {
    static const std::map<std::uint32_t, Operation> operations = {
        {FUSE_INIT, &Server::initialise},   {FUSE_LOOKUP, &Server::lookUp},
        {FUSE_GETATTR, &Server::examine},   {FUSE_READLINK, &Server::readLink},
        {FUSE_OPENDIR, &Server::open},      {FUSE_OPEN, &Server::open},
        {FUSE_READDIR, &Server::readNames}, {FUSE_READ, &Server::readBytes},
        {FUSE_RELEASE, &Server::nothing},   {FUSE_RELEASEDIR, &Server::nothing},
        {FUSE_STATFS, &Server::figures},    {FUSE_FORGET, &Server::silence},
        {FUSE_INTERRUPT, &Server::silence}, {FUSE_BATCH_FORGET, &Server::silence}};
    const auto found = operations.find(opcode);
    return found == operations.end() ? nullptr : found->second;
  }

  void answer(const Request& request) {
    m_out.clear();
    const Operation operation = operationOf(request.header->opcode);
    const int error = operation != nullptr ? (this->*operation)(request) : ENOSYS;
    if (error == NO_ANSWER)
      return;
    if (error != 0)
      m_out.clear();
    fuse_out_header header{};
    header.len = static_cast<std::uint32_t>(sizeof header + m_out.size());
    header.error = -error;
    header.unique = request.header->unique;
    iovec parts[] = {{&header, sizeof header}, {m_out.data(), m_out.size()}};
    // An answer that nobody waits for any more is refused; that is no concern of the server.
    [[maybe_unused]] const ssize_t written = ::writev(m_device, parts, 2);
  }

  template <typename Out>
  int give(const Out& out) {
    m_out.append(reinterpret_cast<const char*>(&out), sizeof out);
    return 0;
  }

  [[nodiscard]] const std::string& pathOf(const Request& request) const {
    return m_paths[request.header->nodeid - FUSE_ROOT_ID];
  }
  [[nodiscard]] std::string sourceOf(const Request& request) const {
    return m_source + pathOf(request);
  }
  static bool isNamed(const std::string& path, std::string_view start) {
    return std::string_view(path).substr(path.rfind('/') + 1).starts_with(start);
  }

  std::uint64_t nodeOf(const std::string& path) {
    auto found = std::find(m_paths.begin(), m_paths.end(), path);
    if (found == m_paths.end())
      found = m_paths.insert(m_paths.end(), path);
    return static_cast<std::uint64_t>(found - m_paths.begin()) + FUSE_ROOT_ID;
  }

  struct Name {
    std::string text;
    std::uint64_t inode;
    std::uint32_t type;
  };

  // In the order of their text, so that tests know which entry comes after which.
  static int namesOf(const std::string& directory, std::vector<Name>& names) {
    DIR* stream = ::opendir(directory.c_str());
    if (stream == nullptr)
      return errno;
    while (const dirent* entry = ::readdir(stream))
      names.push_back({entry->d_name, entry->d_ino, entry->d_type});
    ::closedir(stream);
    std::sort(names.begin(), names.end(),
              [](const Name& a, const Name& b) { return a.text < b.text; });
    return 0;
  }

  static int attributesOf(const std::string& file, fuse_attr& attributes) {
    struct stat st {};
    if (::lstat(file.c_str(), &st) != 0)
      return errno;
    attributes.ino = st.st_ino;
    attributes.size = static_cast<std::uint64_t>(st.st_size);
    attributes.blocks = static_cast<std::uint64_t>(st.st_blocks);
    attributes.atime = static_cast<std::uint64_t>(st.st_atim.tv_sec);
    attributes.mtime = static_cast<std::uint64_t>(st.st_mtim.tv_sec);
    attributes.ctime = static_cast<std::uint64_t>(st.st_ctim.tv_sec);
    attributes.atimensec = static_cast<std::uint32_t>(st.st_atim.tv_nsec);
    attributes.mtimensec = static_cast<std::uint32_t>(st.st_mtim.tv_nsec);
    attributes.ctimensec = static_cast<std::uint32_t>(st.st_ctim.tv_nsec);
    attributes.mode = st.st_mode;
    attributes.nlink = static_cast<std::uint32_t>(st.st_nlink);
    attributes.uid = st.st_uid;
    attributes.gid = st.st_gid;
    attributes.rdev = (::minor(st.st_rdev) & 0xFF) | ::major(st.st_rdev) << 8 |
                      (::minor(st.st_rdev) & ~0xFFU) << 12;
    attributes.blksize = static_cast<std::uint32_t>(st.st_blksize);
    return 0;
  }

  int initialise(const Request& request) {
    fuse_init_out out{};
    out.major = FUSE_KERNEL_VERSION;
    out.minor =
        std::min<std::uint32_t>(FUSE_KERNEL_MINOR_VERSION, request.as<fuse_init_in>().minor);
    // Without it one look-up that hangs holds up all others in its directory.
    out.flags = FUSE_PARALLEL_DIROPS;
    out.max_write = MAX_WRITE;
    out.time_gran = 1;
    return give(out);
  }

  int lookUp(const Request& request) {
    const std::string path = pathOf(request) + "/" + request.body;
    if (isNamed(path, "hang-stat"))
      return NO_ANSWER;
    fuse_entry_out out{};  // valid for no time at all: every examination is asked for
    if (const int error = attributesOf(m_source + path, out.attr); error != 0)
      return error;
    out.nodeid = nodeOf(path);
    return give(out);
  }

  int examine(const Request& request) {
    fuse_attr_out out{};
    const int error = attributesOf(sourceOf(request), out.attr);
    return error != 0 ? error : give(out);
  }

  int readLink(const Request& request) {
    char target[4096];
    const ssize_t length = ::readlink(sourceOf(request).c_str(), target, sizeof target);
    if (length < 0)
      return errno;
    m_out.assign(target, static_cast<std::size_t>(length));
    return 0;
  }

  int open(const Request& request) {
    return isNamed(pathOf(request), "hang-open") ? NO_ANSWER : give(fuse_open_out{});
  }

  int readNames(const Request& request) {
    if (isNamed(pathOf(request), "hang-read"))
      return NO_ANSWER;
    const auto& in = request.as<fuse_read_in>();
    std::vector<Name> names;
    if (const int error = namesOf(sourceOf(request), names); error != 0)
      return error;
    for (std::uint64_t number = in.offset; number < names.size(); ++number) {
      const Name& name = names[number];
      if (m_out.size() + FUSE_DIRENT_ALIGN(FUSE_NAME_OFFSET + name.text.size()) > in.size)
        break;
      fuse_dirent head{};
      head.ino = name.inode;
      head.off = number + 1;
      head.namelen = static_cast<std::uint32_t>(name.text.size());
      head.type = name.type;
      m_out.append(reinterpret_cast<const char*>(&head), FUSE_NAME_OFFSET);
      m_out.append(name.text);
      m_out.resize(FUSE_DIRENT_ALIGN(m_out.size()));
    }
    return 0;
  }

  int readBytes(const Request& request) {
    if (isNamed(pathOf(request), "hang-read"))
      return NO_ANSWER;
    const auto& in = request.as<fuse_read_in>();
    const int fd = ::open(sourceOf(request).c_str(), O_RDONLY | O_CLOEXEC);
    m_out.resize(in.size);
    const ssize_t got = ::pread(fd, m_out.data(), in.size, static_cast<off_t>(in.offset));
    const int error = got < 0 ? errno : 0;
    m_out.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
    ::close(fd);
    return error;
  }

  int figures(const Request&) {
    if (m_hangsOnStatfs)
      return NO_ANSWER;
    struct statvfs st {};
    if (::statvfs(m_source.c_str(), &st) != 0)
      return errno;
    fuse_statfs_out out{};
    out.st.blocks = st.f_blocks;
    out.st.bfree = st.f_bfree;
    out.st.bavail = st.f_bavail;
    out.st.files = st.f_files;
    out.st.ffree = st.f_ffree;
    out.st.bsize = static_cast<std::uint32_t>(st.f_bsize);
    out.st.frsize = static_cast<std::uint32_t>(st.f_frsize);
    out.st.namelen = static_cast<std::uint32_t>(st.f_namemax);
    return give(out);
  }

  int nothing(const Request&) { return 0; }
  int silence(const Request&) { return NO_ANSWER; }

  std::string m_source;
  bool m_hangsOnStatfs;
  int m_device;
  std::vector<std::string> m_paths{""};  // by node number; the root is the first
  std::string m_out;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3)
    return 2;
  const int device = ::open("/dev/fuse", O_RDWR | O_CLOEXEC);
  const std::string options =
      "fd=" + std::to_string(device) +
      ",rootmode=40000,user_id=0,group_id=0,allow_other,default_permissions";
  if (device < 0 || ::mount("hangfs", argv[2], "fuse.hangfs", MS_RDONLY, options.c_str()) != 0)
    return 1;
  return Server(argv[1], argc > 3 && std::string_view(argv[3]) == "statfs", device).run();
}
