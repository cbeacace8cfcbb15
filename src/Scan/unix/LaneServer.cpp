// The helper's side of a lane. Nothing is allocated here: the process is a copy of the job's.

#include <dirent.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>

#include "Scan/unix/DirectoryStream.h"
#include "Scan/unix/LaneServer.h"
#include "runtime/ut/UniqueFd.h"

namespace orv::lane {
namespace {

// Directories that are kept open for requests to come: those that were not done in one go.
constexpr std::size_t MAX_HELD = 16;

class Server final {
 public:
  Server(Channel& channel, const Root& root, int requests, int replies) noexcept
      : m_channel(channel), m_rootTold(root), m_requests(requests), m_replies(replies) {}

  // False when there is nothing to serve.
  [[nodiscard]] bool openRoot() noexcept;
  // Answers the next request; waits for it.
  void serveNext() noexcept;

 private:
  struct Held {
    std::uint64_t directory = 0;
    UniqueFd fd;
    std::int64_t position = 0;  // of its stream
    std::uint64_t usedAt = 0;
  };

  template <typename IsReady>
  void sleepUntil(IsReady isReady) noexcept;
  void wakeJob() noexcept;
  void takeRequest() noexcept;
  void answer(const Reply& reply, std::size_t textLength = 0) noexcept;

  [[nodiscard]] int openAt(int parent, const char* path, bool isRoot) noexcept;
  [[nodiscard]] int openBelow(int flags, const char* path) noexcept;
  [[nodiscard]] int openDirectory() noexcept;
  [[nodiscard]] Held* held() noexcept;
  void read() noexcept;
  [[nodiscard]] int readEntries() noexcept;
  void examine(std::uint32_t count) noexcept;

  Channel& m_channel;
  const Root& m_rootTold;
  int m_requests;
  int m_replies;
  UniqueFd m_root;
  int m_atimeFlag = O_NOATIME;  // until it is refused
  std::array<Held, MAX_HELD> m_held;
  std::uint64_t m_uses = 0;
  Held* m_current = nullptr;  // the directory of the request
  Request m_request;
  char m_path[MAX_PATH_LENGTH + 1];
  List m_list{};
  std::uint32_t m_filled = 0;  // bytes of `m_entries`
  alignas(dirent64) char m_entries[READ_BYTES];
  char m_names[READ_BYTES];
};

void Server::wakeJob() noexcept {
  // One byte for one sleep, however many reasons there are to end it.
  if (m_channel.wakeAt.exchange(Channel::NEVER) != Channel::NEVER)
    (void)writeFully(m_replies, "w");
}

template <typename IsReady>
void Server::sleepUntil(IsReady isReady) noexcept {
  while (!isReady()) {
    // Said first, then asked once more: what arrives in between would wake nobody.
    m_channel.helperSleeps.store(true);
    if (isReady()) {
      m_channel.helperSleeps.store(false);
      return;
    }
    wakeJob();
    char woken;
    const ssize_t got = ::read(m_requests, &woken, 1);
    if (got == 0 || (got < 0 && errno != EINTR))
      // The job is gone, or has left this helper behind. Nothing that the copy holds must be
      // flushed.
      ::_exit(0);
    m_channel.helperSleeps.store(false);
  }
}

void Server::answer(const Reply& reply, std::size_t textLength) noexcept {
  auto& replies = m_channel.replies;
  // A job that takes no answers makes its helper wait, not lose them.
  sleepUntil([&] { return replies.room() >= sizeof reply + textLength; });
  replies.put(&reply, sizeof reply);
  replies.put(m_names, textLength);
  replies.publish();
}

void Server::takeRequest() noexcept {
  auto& requests = m_channel.requests;
  sleepUntil([&] { return requests.available() > 0; });
  requests.take(&m_request, sizeof m_request);
  requests.take(m_path, m_request.pathLength);
  m_path[m_request.pathLength] = '\0';
  requests.take(m_names, m_request.namesLength);
  requests.release();
}

// Below the root no link is followed, whatever has taken the place of a directory meanwhile.
int Server::openBelow(int flags, const char* path) noexcept {
  open_how how{};
  how.flags = static_cast<std::uint64_t>(flags | O_NOFOLLOW);
  how.resolve = RESOLVE_NO_SYMLINKS;
  const long fd = ::syscall(SYS_openat2, m_root.get(), path, &how, sizeof how);
  // An older kernel, or a container that bars the call, cannot say so for all of the path.
  return fd < 0 && (errno == ENOSYS || errno == EPERM)
             ? ::openat(m_root.get(), path, flags | O_NOFOLLOW)
             : static_cast<int>(fd);
}

int Server::openAt(int parent, const char* path, bool isRoot) noexcept {
  const int flags = O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC;
  const auto open = [&](int more) {
    return isRoot ? ::openat(parent, path, flags | more) : openBelow(flags | more, path);
  };
  int fd = open(m_atimeFlag);
  if (fd < 0 && errno == EPERM && m_atimeFlag != 0) {
    // For the rest of the helper's life, as in the job: see ScannerUnix::openDirectory.
    m_atimeFlag = 0;
    fd = open(0);
  }
  return fd;
}

bool Server::openRoot() noexcept {
  Reply reply{Reply::OPENED, 0, {}};
  m_root.reset(openAt(AT_FDCWD, m_rootTold.path.c_str(), true));
  reply.error = m_root ? examineEntry(m_root.get(), "", m_rootTold.membership, reply.st) : errno;
  if (reply.error == 0 && m_rootTold.identity.isKnown()) {
    // Mounted anew meanwhile: positions and names of the old one mean nothing here.
    if (!(Identity::of(reply.st) == m_rootTold.identity))
      reply.error = ESTALE;
    // Whoever takes over was called because a server did not answer: it has to, not a cache.
    struct statx asked;
    (void)::statx(m_root.get(), "", AT_EMPTY_PATH | AT_STATX_FORCE_SYNC, STATX_TYPE, &asked);
  }
  answer(reply);
  wakeJob();
  return reply.error == 0;
}

// The place of the request's directory among those held open, or else the one used longest ago.
Server::Held* Server::held() noexcept {
  Held* oldest = &m_held.front();
  for (Held& place : m_held) {
    if (place.fd && place.directory == m_request.directory)
      return &place;
    if (place.usedAt < oldest->usedAt)
      oldest = &place;
  }
  // What it held may be asked for again, and is then opened anew and compared.
  oldest->fd.reset();
  oldest->directory = m_request.directory;
  return oldest;
}

// Makes the request's directory the current one and tells the job. The errno value of that.
int Server::openDirectory() noexcept {
  Reply reply{Reply::OPENED, 0, {}};
  m_current = held();
  m_current->usedAt = ++m_uses;
  if (!m_current->fd) {
    const char* path = *m_path == '\0' ? "." : m_path;
    m_current->fd.reset(openAt(m_root.get(), path, false));
    if (!m_current->fd && (errno == EMFILE || errno == ENFILE)) {
      for (Held& place : m_held)
        place.fd.reset();
      m_current->fd.reset(openAt(m_root.get(), path, false));
    }
    m_current->position = 0;
    reply.error = m_current->fd
                      ? examineEntry(m_current->fd.get(), "", m_rootTold.membership, reply.st)
                      : errno;
    if (reply.error == 0 && m_request.identity.isKnown() &&
        !(Identity::of(reply.st) == m_request.identity))
      reply.error = ESTALE;
    if (reply.error != 0)
      m_current->fd.reset();
  }
  answer(reply);
  return reply.error;
}

// Reads on in the current directory; 0 or the errno value. What was read before a failure counts.
int Server::readEntries() noexcept {
  const int fd = m_current->fd.get();
  // As a rule it stands there: only a helper that takes over must look for the place.
  if (m_current->position != m_request.position && ::lseek64(fd, m_request.position, SEEK_SET) < 0)
    return errno;
  m_list.position = m_request.position;
  while (!m_list.isAtEnd && m_filled + sizeof(dirent64) <= READ_BYTES) {
    const ssize_t got = ::getdents64(fd, m_entries + m_filled, READ_BYTES - m_filled);
    // A directory that was removed while it was open is empty, not faulty, as readdir has it.
    if (got < 0 && errno != ENOENT)
      return errno;
    m_list.isAtEnd = got <= 0;
    const std::uint32_t end = m_filled + static_cast<std::uint32_t>(got > 0 ? got : 0);
    while (m_filled < end) {
      const auto* entry = reinterpret_cast<const dirent64*>(m_entries + m_filled);
      m_list.position = entry->d_off;
      m_filled += entry->d_reclen;
      if (entry->d_ino == 0 || isPassedOver(entry->d_name, m_rootTold.fsType))
        continue;
      const std::size_t length = std::strlen(entry->d_name) + 1;
      std::memcpy(m_names + m_list.textLength, entry->d_name, length);
      m_list.textLength += static_cast<std::uint32_t>(length);
      ++m_list.count;
    }
  }
  return 0;
}

void Server::read() noexcept {
  m_list = {};
  m_filled = 0;
  Reply reply{Reply::LIST, readEntries(), {}};
  m_current->position = m_list.position;
  reply.list = m_list;
  answer(reply, m_list.textLength);
  const bool isDone = (m_list.isAtEnd || reply.error != 0) && m_list.count <= m_request.count;
  // There is more to do than this request asks for, perhaps for lanes that are idle.
  if (!isDone)
    wakeJob();
  examine(std::min(m_list.count, m_request.count));
  if (isDone)
    m_current->fd.reset();
}

void Server::examine(std::uint32_t count) noexcept {
  const char* name = m_names;
  for (std::uint32_t i = 0; i < count; ++i) {
    Reply reply{Reply::EXAMINED, 0, {}};
    reply.error = examineEntry(m_current->fd.get(), name, m_rootTold.membership, reply.st);
    answer(reply);
    name += std::strlen(name) + 1;
  }
}

void Server::serveNext() noexcept {
  takeRequest();
  if (openDirectory() == 0) {
    if (m_request.kind == Request::READ)
      read();
    else
      examine(m_request.count);
  }
  if (m_channel.done.fetch_add(1) + 1 >= m_channel.wakeAt.load())
    wakeJob();
}

}  // namespace

void serve(Channel& channel, const Root& root, int requests, int replies) noexcept {
  Server server(channel, root, requests, replies);
  if (!server.openRoot())
    return;
  for (;;)
    server.serveNext();
}

}  // namespace orv::lane
