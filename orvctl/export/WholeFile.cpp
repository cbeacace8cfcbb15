#include "orvctl/export/WholeFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>

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

}  // namespace

void writeWholeFile(const std::string& path, std::string_view text, mode_t mode) {
  if (isStream(path))
    return writeStream(path, text);
  const std::string target = targetOf(path);
  const std::string directory = parentDirectory(target);
  FreshFile fresh(directory.empty() ? "." : directory);
  if (!fresh.become(target, text, mode))
    cannotWrite(path, errno);
}

}  // namespace orv::ctl
