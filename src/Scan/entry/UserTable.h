#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

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

// The scan-wide set of distinct users and groups, by name. Owns every record that entries, totals
// and result records borrow, so it lives until the last result is written. Used on the scanning
// thread.
class UberTable final {
 public:
  UberTable() = default;
  UberTable(const UberTable&) = delete;
  UberTable& operator=(const UberTable&) = delete;

  // The record to use for `pUG`: the one registered first under its name among the users or the
  // groups, else `pUG` itself, which the table then keeps. Ids that share a name thus share a
  // record. Null gives null.
  [[nodiscard]] UserOrGroup* stashOnUnix(std::unique_ptr<UserOrGroup> pUG, bool isGroup);

  // Keeps a record whose name is not known, only its number: it is shared with no other id.
  [[nodiscard]] UserOrGroup* keepUnnamed(std::unique_ptr<UserOrGroup> record);

 private:
  using RecordsByName = std::map<std::string, std::unique_ptr<UserOrGroup>>;
  RecordsByName m_users;
  RecordsByName m_groups;
  std::vector<std::unique_ptr<UserOrGroup>> m_unnamed;
};

// The numeric identity of an owner or group, a uid or a gid as the system numbers them: unsigned,
// up to 4294967295. A value; whether it means a user or a group is said where it is used.
class Sid final {
 public:
  explicit constexpr Sid(std::uint32_t id) noexcept : m_id(id) {}
  [[nodiscard]] constexpr std::uint32_t id() const noexcept { return m_id; }

 private:
  std::uint32_t m_id;
};

// Resolves the owner and group of entries to shared records. One per job, made by the filesystem
// scan, used on the scanning thread only. The records it hands out are owned elsewhere and outlive
// it.
class UserTable {
 public:
  UserTable() = default;
  virtual ~UserTable() = default;
  UserTable(const UserTable&) = delete;
  UserTable& operator=(const UserTable&) = delete;

  // Forgets what was looked up; the records themselves stay.
  virtual void cleanUP() { m_last = {}; }

  // The record of that user or group, never null. An id that the system does not know is no error:
  // its record is marked `ugRemoved` and named by the id in decimal. One whose look-up fails has
  // the same name and is not marked: nobody knows that it is gone.
  [[nodiscard]] virtual UserOrGroup* lookup(const Sid& pSid, bool isGroup) = 0;

  // The same for the walk: an id that equals the last one of its kind, as most entries of a
  // directory have it, is answered inline without a look-up.
  [[nodiscard]] UserOrGroup* find(const Sid& sid, bool isGroup) {
    Last& last = m_last[isGroup ? 1 : 0];
    if (last.record == nullptr || last.id != sid.id()) [[unlikely]]
      last = {sid.id(), lookup(sid, isGroup)};
    return last.record;
  }

 private:
  struct Last {
    std::uint32_t id = 0;
    UserOrGroup* record = nullptr;
  };
  std::array<Last, 2> m_last;  // user, group
};

}  // namespace orv
