#pragma once

#include <cstdint>
#include <string>

namespace orv {

class GenericPrint;

// An owner or group of files, resolved once per id and shared by every entry that it owns. Owned by
// the UberTable; everything else borrows it for the length of the scan.
struct UserOrGroup final {
  static constexpr const char* ENTITY_NAME = "UserOrGroup";

  static constexpr std::int16_t USER = 1;
  static constexpr std::int16_t GROUP = 2;

  std::int32_t ugID = 0;       // uid; 0 for a group
  std::int32_t ugGroupID = 0;  // gid; not set for a user
  std::string ugName;          // login or group name; the id in decimal when it has no entry
  std::string ugDescription;   // the user's gecos text; empty for a group
  std::int32_t ugDomainID = -1;
  bool ugRemoved = false;  // the id has no entry in the user or group database
  std::int32_t ugComputerID = -1;
  std::string ugNameBytes;
  std::int16_t ugType = USER;
  std::string domainName;

  // The numeric identity: uid of a user, gid of a group.
  [[nodiscard]] std::int32_t identity() const noexcept {
    return ugType == GROUP ? ugGroupID : ugID;
  }

  // Domain and name joined; the name alone (with a trace warning) when the domain is empty.
  // Kept for traces of hosts that have domains; this platform sets none.
  [[nodiscard]] std::string fullyQualifiedName() const;

  // ugID and ugGroupID are written unsigned, as the system numbers its users and groups.
  static void printHeader(GenericPrint& print);
  void printData(GenericPrint& print) const;
};

}  // namespace orv
