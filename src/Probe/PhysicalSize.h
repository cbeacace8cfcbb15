#pragma once

namespace orv {

class Filesystem;
struct MountEntry;

// Sets `fsPhysicalSize` (512-byte units) to what the device of an ext or FAT filesystem says of
// itself: the whole filesystem, its own tables included, where the capacity leaves those out. Other
// types are left alone.
//
// 0, also when the device cannot be read or holds no such filesystem (reported; the size stays as
// it is); 4 when the device cannot be opened (reported). Never waits for a device: one that does
// not deliver at once counts as unreadable.
[[nodiscard]] int GetPhysicalSize(const MountEntry& entry, Filesystem& filesystem);

}  // namespace orv
