#include "runtime/unx/Files.h"

#include <cerrno>
#include <filesystem>

namespace orv {

bool makePath(const std::string& directory) {
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

}  // namespace orv
