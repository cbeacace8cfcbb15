#pragma once

#include <cstdint>
#include <cstring>
#include <string>

#include "Probe/Filesystem.h"

namespace orv {
class Scanner;
}

// The rules that hold for the entries of a directory however they are read.
namespace orv {

// A directory this large in bytes may hold more entries than are worth examining in stream order;
// the smallest entry of the common disk filesystems takes about 8 bytes.
inline constexpr std::int64_t LARGE_DIRECTORY_BYTES = 65'536;

// Whether an entry of that name is left out on a filesystem of type `fsType`.
[[nodiscard]] inline bool isPassedOver(const char* name, int fsType) noexcept {
  if (name[0] != '.')
    return false;
  if (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'))
    return true;
  return Filesystem::isZENFSFileset(static_cast<std::int16_t>(fsType)) &&
         std::strcmp(name, ".flashcopy") == 0;
}

// Reports a directory that cannot be opened; it has no entries.
void reportOpenFailure(Scanner& scanner, const std::string& path, int error);

// Reports a directory whose stream failed, and throws the LocalizableException that says so.
[[noreturn]] void throwReadFailure(const std::string& path, int error);

}  // namespace orv
