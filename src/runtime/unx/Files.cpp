#include "runtime/unx/Files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

namespace orv {
namespace {

constexpr mode_t FILE_MODE = 0640;
// Without O_NONBLOCK a pipe in a file's place would hold the job; for files it means nothing.
constexpr int COMMON_FLAGS = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;

// Reading is asked for only to look at what was written last: a log may forbid it.
int openExisting(const char* path) noexcept {
  constexpr int FLAGS = COMMON_FLAGS | O_APPEND;
  const int fd = ::open(path, O_RDWR | FLAGS);
  struct stat st {};
  if (fd < 0)
    return errno == EACCES ? ::open(path, O_WRONLY | FLAGS) : fd;
  if (::fstat(fd, &st) != 0 || !S_ISFIFO(st.st_mode))
    return fd;
  // Opened for both, a pipe would swallow what nobody reads.
  ::close(fd);
  return ::open(path, O_WRONLY | FLAGS);
}

int createNew(const char* path, int access) noexcept {
  return ::open(path, access | O_CREAT | O_EXCL | COMMON_FLAGS, FILE_MODE);
}

}  // namespace

bool isAccessible(const std::string& path, int mode) noexcept {
  return ::faccessat(AT_FDCWD, path.c_str(), mode, AT_EACCESS) == 0;
}

bool makePath(const std::string& directory) {
  if (directory.empty())
    return true;
  std::error_code error;
  std::filesystem::create_directories(directory, error);
  if (error) {
    errno = error.value();
    return false;
  }
  if (std::filesystem::is_directory(directory, error))
    return true;
  errno = error ? error.value() : ENOTDIR;
  return false;
}

std::string parentDirectory(const std::string& path) {
  const auto slash = path.rfind('/');
  if (slash == std::string::npos)
    return {};
  return slash == 0 ? "/" : path.substr(0, slash);
}

UniqueFd openRegularFile(const std::string& path) noexcept {
  UniqueFd fd(::open(path.c_str(), O_RDONLY | COMMON_FLAGS));
  struct stat st {};
  if (!fd || ::fstat(fd.get(), &st) != 0)
    return UniqueFd();
  if (S_ISREG(st.st_mode))
    return fd;
  fd.reset();
  errno = S_ISDIR(st.st_mode) ? EISDIR : EINVAL;
  return fd;
}

UniqueFd createFile(const std::string& path) noexcept {
  if (::unlink(path.c_str()) != 0 && errno != ENOENT)
    return UniqueFd();
  // Removed first and made only if nothing stands there: between the two nobody's link is followed.
  return UniqueFd(createNew(path.c_str(), O_WRONLY));
}

UniqueFd openForAppending(const std::string& path) noexcept {
  int fd = openExisting(path.c_str());
  if (fd < 0 && errno == ENOENT) {
    fd = createNew(path.c_str(), O_RDWR | O_APPEND);
    // Another job was faster, or a link leads nowhere.
    if (fd < 0 && errno == EEXIST)
      fd = openExisting(path.c_str());
    struct stat st {};
    if (fd < 0 && errno == ENOENT && ::lstat(path.c_str(), &st) == 0 && S_ISLNK(st.st_mode) &&
        ::unlink(path.c_str()) == 0)
      fd = createNew(path.c_str(), O_RDWR | O_APPEND);
  }
  return UniqueFd(fd);
}

std::optional<FileIdentity> identityOf(const std::string& path) noexcept {
  struct stat st {};
  if (::lstat(path.c_str(), &st) != 0)
    return std::nullopt;
  return FileIdentity{st.st_dev, st.st_ino, st.st_mtim.tv_sec, st.st_mtim.tv_nsec};
}

}  // namespace orv
