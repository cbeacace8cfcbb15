#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Scan/entry/UserOrGroup.h"

namespace orv {

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

}  // namespace orv
