#include "runtime/unx/AtomicFile.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "runtime/unx/Files.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

// A network filesystem may refuse at the end only.
bool createWith(const std::string& path, std::string_view text) {
  UniqueFd fd = createFile(path);
  return fd && writeFully(fd.get(), text) && ::fsync(fd.get()) == 0 && ::close(fd.release()) == 0;
}

}  // namespace

bool replaceFile(const std::string& path, const std::string& temporary, std::string_view text) {
  if (!createWith(temporary, text)) {
    const int error = errno;
    TRACE(TR_ERROR, "write %s: %s", temporary.c_str(), errnoText(error).c_str());
    ::unlink(temporary.c_str());
    errno = error;
    return false;
  }
  // The one step in which the content changes for others.
  if (std::rename(temporary.c_str(), path.c_str()) == 0)
    return true;
  const int error = errno;
  TRACE(TR_ERROR, "Unable to rename %s to %s", temporary.c_str(), path.c_str());
  TRACE(TR_ERROR, "rename %s: %s", temporary.c_str(), errnoText(error).c_str());
  ::unlink(temporary.c_str());
  errno = error;
  return false;
}

std::optional<std::string> readWholeFile(const std::string& path) {
  const UniqueFd fd = openRegularFile(path);
  if (!fd)
    return std::nullopt;
  std::string content;
  char buffer[8192];
  while (true) {
    const ssize_t got = ::read(fd.get(), buffer, sizeof buffer);
    if (got < 0 && errno == EINTR)
      continue;
    if (got < 0)
      return std::nullopt;
    if (got == 0)
      return content;
    content.append(buffer, static_cast<std::size_t>(got));
  }
}

}  // namespace orv
