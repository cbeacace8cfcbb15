// The floor of every walk: readdir and fstatat, depth first, and nothing else. Prints the number of
// entries and the sum of their sizes, so that the compiler keeps the work.
//
//   floor DIR

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "runtime/ut/UniqueFd.h"

namespace {

struct StreamCloser {
  void operator()(DIR* stream) const noexcept { ::closedir(stream); }
};
using Stream = std::unique_ptr<DIR, StreamCloser>;

Stream openBelow(int parent, const char* name) {
  orv::UniqueFd fd(::openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!fd)
    return nullptr;
  Stream stream(::fdopendir(fd.get()));
  if (stream)
    (void)fd.release();
  return stream;
}

bool isDots(const char* name) {
  return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: floor DIR\n");
    return 2;
  }
  std::vector<Stream> levels;
  levels.push_back(openBelow(AT_FDCWD, argv[1]));
  if (!levels.back()) {
    std::perror(argv[1]);
    return 1;
  }
  struct stat st {};
  ::fstat(::dirfd(levels.back().get()), &st);
  const dev_t device = st.st_dev;
  long entries = 1;
  long bytes = st.st_size;
  while (!levels.empty()) {
    DIR* stream = levels.back().get();
    const dirent* entry = ::readdir(stream);
    if (entry == nullptr) {
      levels.pop_back();
      continue;
    }
    if (isDots(entry->d_name) ||
        ::fstatat(::dirfd(stream), entry->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0)
      continue;
    ++entries;
    if (st.st_dev != device)
      continue;
    bytes += st.st_size;
    if (S_ISDIR(st.st_mode))
      if (Stream below = openBelow(::dirfd(stream), entry->d_name))
        levels.push_back(std::move(below));
  }
  std::printf("%ld entries, %ld bytes\n", entries, bytes);
  return 0;
}
