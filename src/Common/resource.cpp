#include "Common/resource.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <set>
#include <thread>

#include "Common/ResourceFile.h"
#include "Common/unix/psnautil.h"
#include "runtime/thrd/StopFlag.h"
#include "runtime/unx/Files.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

constexpr const char* LOCK_FILE_ENDING = ".lck";
constexpr const char* OTHER_TYPES_FILE = "orv_def_res";

// For how long a job that was stopped still tries to give back what it holds.
constexpr std::chrono::seconds STOPPED_PATIENCE{5};

struct TypeRow {
  int type;
  const char* fileName;
};

// clang-format off
constexpr TypeRow TYPE_ROWS[] = {
    {SCAN_RESOURCE, "orv_scan_res"},
    {6,             "orv_dbmonitor_res"},
};
// clang-format on

// What this process registered itself, by resource file and name. A record with this process's id
// that is not among these was left by a process of the same id before it.
std::set<std::pair<std::string, std::string>>& ownResources() {
  static std::set<std::pair<std::string, std::string>> resources;
  return resources;
}

// Whether the record keeps its resource from being taken: the code for it, or RESOURCE_LOCKED for a
// stale record.
int codeOf(const ResourceRecord& record, const std::string& file, std::string& reason) {
  const char* name = record.resource.c_str();
  TRACE(TR_MAX, "found resource %s", name);
  // In a container ids begin anew with every start: an own id does not say that the record is own.
  if (record.pid == ::getpid()) {
    if (ownResources().contains({file, record.resource})) {
      TRACE(TR_MAX, "resource %s is already locked by this process", name);
      reason = "this job holds it already";
      return RESOURCE_ALREADY_HELD;
    }
  } else if (psProcessIsRunning(record.pid)) {
    TRACE(TR_MAX, "resource %s locked by pid %d", name, record.pid);
    reason = formatText("process %d scans it", record.pid);
    return RESOURCE_HELD_BY_ANOTHER;
  }
  TRACE(TR_MAX, "resource not locked by another process");
  return RESOURCE_LOCKED;
}

int failed(std::string& reason, const std::string& doing) {
  reason = doing + ": " + errnoText(errno);
  return RESOURCE_FAILED;
}

int addRecord(const ResourceFile& file, const std::string& name, std::string& reason) {
  auto records = file.read();
  if (!records)
    return failed(reason, "read " + file.path());
  int result = RESOURCE_LOCKED;
  std::erase_if(*records, [&](const ResourceRecord& record) {
    const int code =
        record.resource == name ? codeOf(record, file.path(), reason) : RESOURCE_LOCKED;
    result = std::max(result, code);
    return record.resource == name && code == RESOURCE_LOCKED;
  });
  if (result != RESOURCE_LOCKED) {
    // A leftover of a job that was killed while it wrote.
    file.removeTemporary();
    return result;
  }
  records->push_back({name, ::getpid()});
  if (!file.replace(*records))
    return failed(reason, "write " + file.path());
  // Only once it stands in the file.
  ownResources().insert({file.path(), name});
  return RESOURCE_LOCKED;
}

int removeRecord(const ResourceFile& file, const std::string& name, std::string& reason) {
  auto records = file.read();
  if (!records)
    return failed(reason, "read " + file.path());
  int result = RESOURCE_LOCKED;
  bool found = false;
  const auto removed = std::erase_if(*records, [&](const ResourceRecord& record) {
    if (record.resource != name)
      return false;
    found = true;
    if (record.pid == ::getpid())
      return true;
    TRACE(TR_ERROR, "resource lock by another process: %d", record.pid);
    result = RESOURCE_HELD_BY_ANOTHER;
    return false;
  });
  ownResources().erase({file.path(), name});
  if (!found)
    TRACE(TR_MAX, "resource %s is not locked", name.c_str());
  return removed == 0 || file.replace(*records) ? result : failed(reason, "write " + file.path());
}

// Runs `change` on the resource file while the lock file is held. A resource's name is made fit
// for a line of its own.
int changeResourceFile(const std::string& installLocation, const std::string& resourceName,
                       int type, std::string& reason,
                       int (*change)(const ResourceFile&, const std::string&, std::string&)) {
  const std::string directory = installLocation + "/log";
  if (!makePath(directory)) {
    TRACE(TR_ERROR, "Unable to create path %s", directory.c_str());
    TRACE(TR_ERROR, "create %s: %s", directory.c_str(), errnoText(errno).c_str());
    return failed(reason, "create " + directory);
  }
  std::unique_ptr<Filelock> lock =
      createResourceLockFile(type, installLocation, LOCK_FILE_PATIENCE, &reason);
  if (!lock)
    return RESOURCE_FAILED;
  const ResourceFile file(getResourceFileName(installLocation, type));
  const int result = file.makeSureItExists()
                         ? change(file, withoutControlCharacters(resourceName), reason)
                         : failed(reason, "create " + file.path());
  deleteResourceLockFile(std::move(lock));
  return result;
}

// Why the lock file was not to be had, by what Filelock says.
std::string reasonOf(int code, const Filelock& lock) {
  if (code != Filelock::LOCKED_BY_ANOTHER)
    return "lock " + lock.name() + ": " + errnoText(errno);
  const auto holder = lock.readProcessId();
  return "lock " + lock.name() + ": " +
         (holder ? formatText("process %d holds it", *holder) : "another process holds it");
}

}  // namespace

std::string getResourceFileName(const std::string& installLocation, int type) {
  const auto row =
      std::ranges::find_if(TYPE_ROWS, [type](const TypeRow& entry) { return entry.type == type; });
  return installLocation + "/log/" +
         (row == std::end(TYPE_ROWS) ? OTHER_TYPES_FILE : row->fileName);
}

int lockResource(const std::string& installLocation, const std::string& resourceName, int type,
                 std::string* reason) {
  TRACE_METHOD("lockResource(...)");
  std::string ignored;
  return changeResourceFile(installLocation, resourceName, type, reason ? *reason : ignored,
                            addRecord);
}

int unlockResource(const std::string& installLocation, const std::string& resourceName, int type) {
  TRACE_METHOD("unlockResource(...)");
  std::string ignored;
  return changeResourceFile(installLocation, resourceName, type, ignored, removeRecord);
}

std::unique_ptr<Filelock> createResourceLockFile(int type, const std::string& installLocation,
                                                 std::chrono::seconds patience,
                                                 std::string* reason) {
  TRACE_METHOD("createResourceLockFile(...)");
  using Clock = std::chrono::steady_clock;
  auto lock =
      std::make_unique<Filelock>(getResourceFileName(installLocation, type) + LOCK_FILE_ENDING);
  const char* name = lock->name().c_str();
  const Clock::time_point begin = Clock::now();
  // A job that is stopped meanwhile waits no longer; one that was stopped before gives back its
  // locks and waits a little for that.
  const bool wasStopped = agentStop;
  if (wasStopped)
    patience = std::min(patience, STOPPED_PATIENCE);
  int code = lock->lockFile();
  while (code == Filelock::LOCKED_BY_ANOTHER && Clock::now() - begin < patience &&
         agentStop == wasStopped) {
    TRACE(TR_MAX, "waiting to get lock on %s", name);
    std::this_thread::sleep_for(std::chrono::seconds(1));
    code = lock->lockFile();
  }
  if (code == Filelock::LOCKED) {
    // For whoever waits in vain: a message can then say for whom.
    if (!lock->writeProcessId())
      TRACE(TR_ERROR, "write process id to %s: %s", name, errnoText(errno).c_str());
    return lock;
  }
  if (reason != nullptr)
    *reason = reasonOf(code, *lock);
  const auto elapsed = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - begin);
  if (code == Filelock::LOCKED_BY_ANOTHER)
    TRACE(TR_ERROR, "timed out waiting to get lock, %d seconds elapsed",
          static_cast<int>(elapsed.count()));
  else
    TRACE(TR_ERROR, "error trying to lock file %s, rc: %d", name, code);
  TRACE(TR_ERROR, "Unable to lock file");
  return nullptr;
}

int deleteResourceLockFile(std::unique_ptr<Filelock> lock) {
  TRACE_METHOD("deleteResourceLockFile(...)");
  if (!lock)
    return -1;
  lock->unlockFile();
  return 0;
}

}  // namespace orv
