#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orv {

struct UserOrGroup;

// Entry type codes (`faType`).
enum EntryType : std::uint8_t {
  FT_UNKNOWN = 0,
  FT_REGULAR = 1,
  FT_SYMLINK = 2,  // never followed
  FT_DIRECTORY = 3,
  FT_FIFO = 4,
  FT_SOCKET = 5,
  FT_DEVICE = 6,  // character and block alike
  FT_FOREIGN = 7  // on another device than the scanned filesystem, or not examinable
};

// Flags of `faAttributes`. The permission bits of the mode are not kept.
inline constexpr std::uint32_t FA_ARCHIVE = 0x00000020;  // never set on this platform
inline constexpr std::uint32_t FA_ORPHAN = 0x00020000;   // the owner's uid has no user entry
inline constexpr std::uint32_t FA_BLOCK_DEVICE = 0x00040000;
inline constexpr std::uint32_t FA_EXECUTABLE = 0x00080000;  // regular file, any execute bit
inline constexpr std::uint32_t FA_STICKY = 0x00100000;
inline constexpr std::uint32_t FA_SETGID = 0x00200000;
inline constexpr std::uint32_t FA_SETUID = 0x00400000;

// The per-entry record that every action and accumulator is handed. One per scanner, overwritten
// for each entry: who wants to keep an entry copies it. Used on the scanning thread only.
struct FileAttributes {
  FileAttributes() = default;
  FileAttributes(const FileAttributes&) = default;
  FileAttributes& operator=(const FileAttributes&) = default;
  virtual ~FileAttributes() = default;

  // Appends the names and the values of the twelve "fa" fields to the header line and the data line
  // of a record that is made from an entry. Owner and group are written as names.
  static void appendNames(std::vector<std::string>& names);
  void appendValues(std::vector<std::string>& values) const;

  std::uint8_t faType = FT_UNKNOWN;
  std::string faName;  // the whole path as the walk reports it
  // Where the entry stands in the order of one walk, when several do it; else empty. No record
  // shows it.
  std::string faPlace;
  const UserOrGroup* faOwner = nullptr;  // not owned
  const UserOrGroup* faGroup = nullptr;  // not owned
  std::int64_t faCreated = 0;            // always 0: the platform keeps no creation time
  std::int64_t faModified = 0;           // milliseconds since 1970
  std::int64_t faAccessed = 0;           // milliseconds since 1970, never before faModified
  std::int64_t faBlocks = 0;             // 512-byte blocks; 0 for FIFOs, sockets and devices
  std::int64_t faLength = 0;             // bytes
  std::uint32_t faAttributes = 0;
  std::uint32_t faLinkCount = 0;  // 1 for directories
  std::uint64_t faInodeNumber = 0;
  // The entry's own ids, which no record shows: ids of one name share an owner or group.
  std::uint32_t ownerId = 0;
  std::uint32_t groupId = 0;
};

}  // namespace orv
