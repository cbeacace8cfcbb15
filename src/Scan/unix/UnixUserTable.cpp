#include "Scan/unix/UnixUserTable.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"
#include "runtime/ut/UniqueFd.h"

namespace orv {
namespace {

// 0 when the file can be read, else the errno value.
int readError(const char* path) {
  const UniqueFd file(::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  char first;
  return file && ::read(file.get(), &first, 1) >= 0 ? 0 : errno;
}

// Looks for the entry of `id`; null when there is none. The plain calls grow their buffers to
// whatever an entry needs, however many members a group has; only one thread uses them. 0, or the
// errno value of a look-up that failed.
//
// The C library sets errno to 0 when the databases know no such id. It does so, too, when the first
// of them, the file, could not be read and the next one knows nothing; so the file is tried.
template <typename Entry>
int findEntry(Entry* (*find)(std::uint32_t), const char* file, std::uint32_t id, Entry*& entry) {
  do {
    errno = 0;
    entry = find(id);
  } while (entry == nullptr && errno == EINTR);
  if (entry != nullptr)
    return 0;
  return errno != 0 ? errno : readError(file);
}

}  // namespace

void UnixUserTable::cleanUP() {
  TRACE_METHOD("cleanUP()");
  UserTable::cleanUP();
  m_users.clear();
  m_groups.clear();
  m_failed.clear();
}

void UnixUserTable::retryFailures() {
  // The base class may remember one of them.
  UserTable::cleanUP();
  for (const auto& [isGroup, key] : m_failed)
    // The records stay with the table that owns them: results may point to them.
    (isGroup ? m_groups : m_users).erase(key);
  m_failed.clear();
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
  const int error = lookupName(isGroup, *record);
  if (record->ugRemoved || error != 0)
    record->ugName = std::to_string(key);
  record->ugType = UserOrGroup::USER;
  if (isGroup) {
    record->ugType = UserOrGroup::GROUP;
    record->ugGroupID = record->ugID;
    record->ugID = 0;
  }
  if (error == 0)
    return m_uberTable.stashOnUnix(std::move(record), isGroup);
  noteFailure(key, isGroup, error);
  // Not by its number as a name: a user may really be called so.
  return m_uberTable.keepUnnamed(std::move(record));
}

void UnixUserTable::noteFailure(std::uint32_t key, bool isGroup, int error) {
  if (m_failed.empty())
    m_firstFailure =
        formatText("%s %u: %s", isGroup ? "group" : "user", key, errnoText(error).c_str());
  m_failed.emplace_back(isGroup, key);
}

int UnixUserTable::lookupName(bool isGroup, UserOrGroup& record) {
  return isGroup ? lookupGroup(record) : lookupUser(record);
}

int UnixUserTable::lookupUser(UserOrGroup& record) {
  passwd* entry = nullptr;
  const int error =
      findEntry(&::getpwuid, "/etc/passwd", static_cast<std::uint32_t>(record.ugID), entry);
  if (entry == nullptr) {
    record.ugRemoved = error == 0;
    return error;
  }
  record.ugName = entry->pw_name;
  if (entry->pw_gecos != nullptr)
    record.ugDescription = entry->pw_gecos;
  TRACE(TR_GENERAL, "user name: %s; description: %s\n", record.ugName.c_str(),
        record.ugDescription.c_str());
  return 0;
}

int UnixUserTable::lookupGroup(UserOrGroup& record) {
  group* entry = nullptr;
  const int error =
      findEntry(&::getgrgid, "/etc/group", static_cast<std::uint32_t>(record.ugID), entry);
  if (entry == nullptr) {
    record.ugRemoved = error == 0;
    return error;
  }
  record.ugName = entry->gr_name;
  TRACE(TR_GENERAL, " group name : %s\n", record.ugName.c_str());
  return 0;
}

}  // namespace orv
