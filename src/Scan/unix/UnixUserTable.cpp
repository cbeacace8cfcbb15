#include "Scan/unix/UnixUserTable.h"

#include <grp.h>
#include <pwd.h>

#include <cerrno>
#include <memory>
#include <string>

#include "Scan/entry/UberTable.h"
#include "runtime/ut/Trace.h"

namespace orv {

namespace {

// The entry of `id`, or null. The plain calls grow their buffers to whatever an entry needs,
// however many members a group has; only one thread uses them.
template <typename Entry>
Entry* entryOf(Entry* (*find)(std::uint32_t), std::uint32_t id) {
  Entry* entry = nullptr;
  do {
    errno = 0;
    entry = find(id);
  } while (entry == nullptr && errno == EINTR);
  return entry;
}

}  // namespace

void UnixUserTable::cleanUP() {
  TRACE_METHOD("cleanUP()");
  UserTable::cleanUP();
  m_users.clear();
  m_groups.clear();
}

UserOrGroup* UnixUserTable::lookup(const Sid& pSid, bool isGroup) {
  TRACE_METHOD("lookup(...)");
  const std::uint32_t key = pSid.id();
  Cache& cache = isGroup ? m_groups : m_users;
  if (!cache.empty()) {
    if (const auto known = cache.find(key); known != cache.end())
      return known->second;
    TRACE(TR_GENERAL, "no entry found for key %d\n", static_cast<std::int32_t>(key));
  }
  UserOrGroup* record = resolve(key, isGroup);
  cache.emplace(key, record);
  return record;
}

UserOrGroup* UnixUserTable::resolve(std::uint32_t key, bool isGroup) {
  auto record = std::make_unique<UserOrGroup>();
  record->ugID = static_cast<std::int32_t>(key);
  lookupName(isGroup, *record);
  if (record->ugRemoved)
    record->ugName = std::to_string(key);
  record->ugType = UserOrGroup::USER;
  if (isGroup) {
    record->ugType = UserOrGroup::GROUP;
    record->ugGroupID = record->ugID;
    record->ugID = 0;
  }
  return m_uberTable.stashOnUnix(std::move(record), isGroup);
}

void UnixUserTable::lookupName(bool isGroup, UserOrGroup& record) {
  if (isGroup)
    lookupGroup(record);
  else
    lookupUser(record);
}

void UnixUserTable::lookupUser(UserOrGroup& record) {
  const passwd* entry = entryOf(&::getpwuid, static_cast<std::uint32_t>(record.ugID));
  if (entry == nullptr) {
    record.ugRemoved = true;
    return;
  }
  record.ugName = entry->pw_name;
  if (entry->pw_gecos != nullptr)
    record.ugDescription = entry->pw_gecos;
  TRACE(TR_GENERAL, "user name: %s; description: %s\n", record.ugName.c_str(),
        record.ugDescription.c_str());
}

void UnixUserTable::lookupGroup(UserOrGroup& record) {
  const group* entry = entryOf(&::getgrgid, static_cast<std::uint32_t>(record.ugID));
  if (entry == nullptr) {
    record.ugRemoved = true;
    return;
  }
  record.ugName = entry->gr_name;
  TRACE(TR_GENERAL, " group name : %s\n", record.ugName.c_str());
}

}  // namespace orv
