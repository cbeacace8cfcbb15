#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Scan/entry/UserTable.h"

namespace orv {

class UberTable;

// The user table of this platform: asks the user and group databases once per distinct id and kind
// and keeps the answer for its whole life, and what could not be asked for one filesystem: a user
// database that does not answer may take long to say so. Owned by the filesystem scan, used on the
// scanning thread.
class UnixUserTable final : public UserTable {
 public:
  // `uberTable` owns the records and must outlive this table.
  explicit UnixUserTable(UberTable& uberTable) : m_uberTable(uberTable) {}

  void cleanUP() override;
  [[nodiscard]] UserOrGroup* lookup(const Sid& pSid, bool isGroup) override;

  // Begins a filesystem: what could not be looked up is looked up again.
  void retryFailures();
  // How many ids could not be looked up since then, and the first of them with the reason.
  [[nodiscard]] std::size_t failureCount() const noexcept { return m_failed.size(); }
  [[nodiscard]] const std::string& firstFailure() const noexcept { return m_firstFailure; }

 private:
  using Cache = std::unordered_map<std::uint32_t, UserOrGroup*>;

  // Asks the databases for the id in `ugID` and fills name, description and `ugRemoved`. 0, or the
  // errno value of a look-up that failed.
  [[nodiscard]] static int lookupName(bool isGroup, UserOrGroup& record);
  [[nodiscard]] static int lookupUser(UserOrGroup& record);
  [[nodiscard]] static int lookupGroup(UserOrGroup& record);

  [[nodiscard]] UserOrGroup* resolve(std::uint32_t key, bool isGroup);
  void noteFailure(std::uint32_t key, bool isGroup, int error);

  UberTable& m_uberTable;
  Cache m_users;
  Cache m_groups;
  std::vector<std::pair<bool, std::uint32_t>> m_failed;  // whether it is a group, and the id
  std::string m_firstFailure;
};

}  // namespace orv
