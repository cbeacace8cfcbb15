#pragma once

#include <cstdint>
#include <unordered_map>

#include "Scan/entry/UserTable.h"

namespace orv {

class UberTable;

// The user table of this platform: asks the user and group databases once per distinct id and kind
// and keeps the answer for its whole life. Owned by the filesystem scan, used on the scanning
// thread.
class UnixUserTable final : public UserTable {
 public:
  // `uberTable` owns the records and must outlive this table.
  explicit UnixUserTable(UberTable& uberTable) : m_uberTable(uberTable) {}

  void cleanUP() override;
  [[nodiscard]] UserOrGroup* lookup(const Sid& pSid, bool isGroup) override;

 private:
  using Cache = std::unordered_map<std::uint32_t, UserOrGroup*>;

  // Asks the databases for the id in `ugID` and fills name, description and `ugRemoved`.
  static void lookupName(bool isGroup, UserOrGroup& record);
  static void lookupUser(UserOrGroup& record);
  static void lookupGroup(UserOrGroup& record);

  [[nodiscard]] UserOrGroup* resolve(std::uint32_t key, bool isGroup);

  UberTable& m_uberTable;
  Cache m_users;
  Cache m_groups;
};

}  // namespace orv
