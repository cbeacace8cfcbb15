#include "runtime/unx/StatHelper.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iterator>

#include "runtime/ut/UniqueFd.h"

namespace orv::stathelper {
namespace {

// The operations, by number.
struct Operation {
  std::size_t size;
  int (*perform)(const char* path, Result& result);
};
// clang-format off
constexpr Operation OPERATIONS[] = {
    {sizeof(struct statfs64),  [](const char* path, Result& r) { return ::statfs64(path, &r.statfs); }},
    {sizeof(struct statvfs64), [](const char* path, Result& r) { return ::statvfs64(path, &r.statvfs); }},
    {sizeof(struct stat),      [](const char* path, Result& r) { return ::stat(path, &r.stat); }},
    {sizeof(struct stat),      [](const char* path, Result& r) { return ::lstat(path, &r.stat); }},
};
// clang-format on

// Reads `size` bytes. False at the end of the requests.
bool readFully(int fd, void* to, std::size_t size) noexcept {
  auto* at = static_cast<char*>(to);
  while (size > 0) {
    const ssize_t got = ::read(fd, at, size);
    if (got < 0 && errno == EINTR)
      continue;
    if (got <= 0)
      return false;
    at += got;
    size -= static_cast<std::size_t>(got);
  }
  return true;
}

bool readTap(int fd, Tap& tap) noexcept {
  if (!readFully(fd, &tap, offsetof(Tap, path)) || tap.pathLength > MAX_PATH_LENGTH ||
      !readFully(fd, tap.path, tap.pathLength))
    return false;
  tap.path[tap.pathLength] = '\0';
  return true;
}

}  // namespace

ssize_t resultSize(int operation) noexcept {
  if (operation < 0 || static_cast<std::size_t>(operation) >= std::size(OPERATIONS))
    return -1;
  return static_cast<ssize_t>(OPERATIONS[operation].size);
}

void serve(int requests, int replies) noexcept {
  Tap tap;
  while (readTap(requests, tap)) {
    Reply reply;
    std::memset(&reply, 0, sizeof reply);
    reply.number = tap.number;
    reply.error = OPERATIONS[tap.operation].perform(tap.path, reply.result) == 0 ? 0 : errno;
    if (!writeFully(replies, {reinterpret_cast<const char*>(&reply), sizeof reply}))
      return;
  }
}

}  // namespace orv::stathelper
