// A library to preload: every stat of a program takes longer, as it does on a filesystem whose
// metadata is far away. ORV_STAT_DELAY_US says by how many microseconds (200).
//
//   LD_PRELOAD=build/release/bench/libslowstat.so find /some/tree -size +1M

// Both names of each function are wanted, not one for the other.
#undef _FILE_OFFSET_BITS

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>

namespace {

void delay() {
  static const long microseconds = [] {
    const char* text = std::getenv("ORV_STAT_DELAY_US");
    return text == nullptr ? 200L : std::strtol(text, nullptr, 10);
  }();
  const timespec time = {microseconds / 1'000'000, microseconds % 1'000'000 * 1000};
  ::nanosleep(&time, nullptr);
}

int slowStat(int directory, const char* path, void* st, int flags) {
  delay();
  return static_cast<int>(::syscall(SYS_newfstatat, directory, path, st, flags));
}

}  // namespace

extern "C" {

int fstatat(int directory, const char* path, struct stat* st, int flags) noexcept {
  return slowStat(directory, path, st, flags);
}
int fstatat64(int directory, const char* path, struct stat64* st, int flags) noexcept {
  return slowStat(directory, path, st, flags);
}
int stat(const char* path, struct stat* st) noexcept {
  return slowStat(AT_FDCWD, path, st, 0);
}
int stat64(const char* path, struct stat64* st) noexcept {
  return slowStat(AT_FDCWD, path, st, 0);
}
int lstat(const char* path, struct stat* st) noexcept {
  return slowStat(AT_FDCWD, path, st, AT_SYMLINK_NOFOLLOW);
}
int lstat64(const char* path, struct stat64* st) noexcept {
  return slowStat(AT_FDCWD, path, st, AT_SYMLINK_NOFOLLOW);
}
}
