#include "Probe/PhysicalSize.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <bit>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

#include "Probe/Filesystem.h"
#include "Probe/MountTree.h"
#include "runtime/nls/MessageLog.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"
#include "runtime/ut/UniqueFd.h"

namespace orv {
namespace {

// What a device starts with: the boot sector of a FAT filesystem, or nothing of interest followed
// at 1,024 by the superblock of an ext one.
using DeviceStart = std::array<unsigned char, 2048>;
constexpr std::size_t BOOT_SECTOR_SIZE = 512;
constexpr std::uint64_t UNIT = 512;

// The little-endian number of type `Number` at `offset`.
template <typename Number>
Number numberAt(const DeviceStart& start, std::size_t offset) {
  std::uint64_t value = 0;
  for (std::size_t i = sizeof(Number); i-- > 0;)
    value = value << 8 | start[offset + i];
  return static_cast<Number>(value);
}

// `count` pieces of `bytes` (a multiple of 512) in 512-byte units; 0 when that is beyond all
// reason.
std::int64_t unitsOf(std::uint64_t count, std::uint64_t bytes) {
  constexpr std::uint64_t most = std::numeric_limits<std::int64_t>::max();
  return count > most / (bytes / UNIT) ? 0 : static_cast<std::int64_t>(count * (bytes / UNIT));
}

// The size by an ext superblock; 0 when there is none.
std::int64_t extSize(const DeviceStart& start) {
  constexpr std::size_t superblock = 1024;
  constexpr std::uint16_t magic = 0xEF53;
  constexpr std::uint32_t incompat64Bit = 0x80;
  constexpr std::uint32_t largestLogBlockSize = 6;  // 64 KiB
  // Offsets and limits are those of the format on disk; every figure read is checked before use,
  // for a device may hold anything.
  if (numberAt<std::uint16_t>(start, superblock + 0x38) != magic)
    return 0;
  const auto logBlockSize = numberAt<std::uint32_t>(start, superblock + 0x18);
  if (logBlockSize > largestLogBlockSize)
    return 0;
  std::uint64_t blocks = numberAt<std::uint32_t>(start, superblock + 0x04);
  // Without the feature the upper half's place may hold anything.
  const bool hasFeatures = numberAt<std::uint32_t>(start, superblock + 0x4C) > 0;
  if (hasFeatures && (numberAt<std::uint32_t>(start, superblock + 0x60) & incompat64Bit) != 0)
    blocks |= std::uint64_t{numberAt<std::uint32_t>(start, superblock + 0x150)} << 32;
  return unitsOf(blocks, std::uint64_t{1024} << logBlockSize);
}

// The size by a FAT boot sector; 0 when there is none.
std::int64_t fatSize(const DeviceStart& start) {
  if (numberAt<std::uint16_t>(start, 510) != 0xAA55)
    return 0;
  const auto sectorSize = numberAt<std::uint16_t>(start, 11);
  const auto sectorsPerCluster = start[13];
  const auto reservedSectors = numberAt<std::uint16_t>(start, 14);
  const auto tables = start[16];
  if (!std::has_single_bit(sectorSize) || sectorSize < 512 || sectorSize > 4096 ||
      !std::has_single_bit(sectorsPerCluster) || reservedSectors == 0 || tables == 0)
    return 0;
  // Small volumes have their size in the older, 16-bit field, all others 0 there.
  const std::uint32_t sectors = numberAt<std::uint16_t>(start, 19);
  return unitsOf(sectors != 0 ? sectors : numberAt<std::uint32_t>(start, 32), sectorSize);
}

// A type that is handled: mount types begin with `prefix`.
struct Kind {
  std::string_view prefix;
  int code;
  std::size_t needed;  // bytes of the device's start
  std::int64_t (*size)(const DeviceStart&);
};
// clang-format off
constexpr Kind KINDS[] = {
    {"ext",   1, std::tuple_size_v<DeviceStart>, extSize},
    {"msdos", 3, BOOT_SECTOR_SIZE,               fatSize},
    {"fat",   3, BOOT_SECTOR_SIZE,               fatSize},
};
// clang-format on

// Reads as much of the start as the device has. False with errno.
bool readStart(int fd, DeviceStart& start, std::size_t& length) {
  length = 0;
  while (length < start.size()) {
    const ssize_t got =
        ::pread(fd, start.data() + length, start.size() - length, static_cast<off_t>(length));
    if (got == 0)
      return true;
    if (got > 0)
      length += static_cast<std::size_t>(got);
    else if (errno != EINTR)
      return false;
  }
  return true;
}

std::string deviceAndError(const std::string& device) {
  return device + " - " + errnoText(errno);
}

// Sets the size from the open device, or reports why it cannot.
void HandleExt2(int fd, const std::string& device, const Kind& kind, Filesystem& filesystem) {
  TRACE_METHOD("HandleExt2(...)");
  DeviceStart start{};
  std::size_t length = 0;
  if (!readStart(fd, start, length)) {
    issueMessage(msg::STA0098E, {deviceAndError(device)});
    return;
  }
  const std::int64_t size = length < kind.needed ? 0 : kind.size(start);
  if (size == 0) {
    issueMessage(msg::STA0099E, {device});
    return;
  }
  filesystem.fsPhysicalSize = size;
  TRACE(TR_GENERAL, ">> \t fsPhysicalSize = %lld (kind %d)\n", static_cast<long long>(size),
        kind.code);
}

}  // namespace

int GetPhysicalSize(const MountEntry& entry, Filesystem& filesystem) {
  TRACE_METHOD("GetPhysicalSize(...)");
  for (const Kind& kind : KINDS) {
    if (!entry.type.starts_with(kind.prefix))
      continue;
    // Never to wait: a name of the mount table may be a pipe or a terminal by now.
    const UniqueFd fd(::open(entry.source.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!fd) {
      issueMessage(msg::STA0097E, {deviceAndError(entry.source)});
      return 4;
    }
    HandleExt2(fd.get(), entry.source, kind, filesystem);
    return 0;
  }
  return 0;
}

}  // namespace orv
