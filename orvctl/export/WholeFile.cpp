#include "orvctl/export/WholeFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <thread>

#include "orvctl/text/CtlError.h"
#include "orvctl/text/Utf8.h"
#include "runtime/unx/Files.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/UniqueFd.h"

namespace orv::ctl {
namespace {

[[noreturn]] void cannotWrite(const std::string& path, int error) {
  throw CtlError(fmt::format("cannot write {}: {}", utf8Text(path), errnoText(error)));
}

// The name behind a link, so that the file is replaced and not the link.
std::string targetOf(const std::string& path) {
  const std::unique_ptr<char, void (*)(void*)> resolved(::realpath(path.c_str(), nullptr),
                                                        std::free);
  return resolved ? resolved.get() : path;
}

// A pipe or a device has no content that a rename could replace.
bool isStream(const std::string& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0 && !S_ISREG(info.st_mode) && !S_ISDIR(info.st_mode);
}

void writeStream(const std::string& path, std::string_view text) {
  const UniqueFd file(::open(path.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC));
  if (!file || !writeFully(file.get(), text))
    cannotWrite(path, errno);
}

// A file under a name of its own, deleted unless it was given its real one.
class FreshFile final {
 public:
  explicit FreshFile(const std::string& directory)
      : m_name(directory + "/.orvctl-XXXXXX"), m_file(::mkostemp(m_name.data(), O_CLOEXEC)) {}
  ~FreshFile() {
    if (m_file)
      ::unlink(m_name.c_str());
  }
  FreshFile(const FreshFile&) = delete;
  FreshFile& operator=(const FreshFile&) = delete;

  // False with errno when a step failed. The flush finds out about a disk that is full only then,
  // and keeps a crash from leaving the new name with nothing in it.
  [[nodiscard]] bool become(const std::string& path, std::string_view text, mode_t mode) {
    if (!m_file || !writeFully(m_file.get(), text) || ::fchmod(m_file.get(), mode) != 0 ||
        ::fsync(m_file.get()) != 0 || ::rename(m_name.c_str(), path.c_str()) != 0)
      return false;
    m_file.reset();
    return true;
  }

 private:
  std::string m_name;
  UniqueFd m_file;
};

// The directory of a file, "." for a name alone.
std::string placeOf(const std::string& path) {
  const std::string directory = parentDirectory(path);
  return directory.empty() ? "." : directory;
}

// Locks the directory itself, so that no lock file is left in it. Where a directory may not be
// listed, or its filesystem knows no locks, there is none. `path` is for the error text.
UniqueFd lockedDirectory(const std::string& directory, const std::string& path) {
  using namespace std::chrono_literals;
  UniqueFd lock(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const auto end = std::chrono::steady_clock::now() + 10s;
  while (lock && ::flock(lock.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
    if (std::chrono::steady_clock::now() > end)
      throw CtlError(fmt::format("cannot write {}: another program keeps its directory locked",
                                 utf8Text(path)));
    std::this_thread::sleep_for(20ms);
  }
  return lock;
}

// The text of a file; empty when there is none.
std::string textOf(const std::string& target, const std::string& path) {
  const UniqueFd file = openRegularFile(target);
  if (!file && errno == ENOENT)
    return {};
  std::string text;
  std::array<char, 65536> buffer;
  ssize_t got = file ? 0 : -1;
  while (file && (got = ::read(file.get(), buffer.data(), buffer.size())) > 0)
    text.append(buffer.data(), static_cast<std::size_t>(got));
  if (got < 0)
    cannotWrite(path, errno);
  return text;
}

}  // namespace

void writeWholeFile(const std::string& path, std::string_view text, mode_t mode) {
  if (isStream(path))
    return writeStream(path, text);
  const std::string target = targetOf(path);
  FreshFile fresh(placeOf(target));
  if (!fresh.become(target, text, mode))
    cannotWrite(path, errno);
}

void changeWholeFile(const std::string& path,
                     const std::function<std::string(std::string_view before)>& change,
                     mode_t mode) {
  if (isStream(path))
    return writeStream(path, change({}));
  const std::string target = targetOf(path);
  const UniqueFd lock = lockedDirectory(placeOf(target), path);
  writeWholeFile(target, change(textOf(target, path)), mode);
}

}  // namespace orv::ctl
