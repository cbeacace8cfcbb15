#include "Scan/entry/UserTable.h"

#include "runtime/ut/Trace.h"

namespace orv {

UserOrGroup* UberTable::stashOnUnix(std::unique_ptr<UserOrGroup> pUG, bool isGroup) {
  TRACE_METHOD("stashOnUnix(...)");
  if (!pUG) {
    TRACE(TR_ERROR,
          "UberTable::stashOnUnix() : ERROR: The UserOrGroup reference <pUG> is NULL. Leaving "
          "method.");
    return nullptr;
  }
  RecordsByName& records = isGroup ? m_groups : m_users;
  // try_emplace leaves `pUG` alone when the name is taken: the new record then ends with this call.
  return records.try_emplace(pUG->ugName, std::move(pUG)).first->second.get();
}

UserOrGroup* UberTable::keepUnnamed(std::unique_ptr<UserOrGroup> record) {
  m_unnamed.push_back(std::move(record));
  return m_unnamed.back().get();
}

}  // namespace orv
