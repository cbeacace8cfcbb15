#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "Common/unix/Filelock.h"

// Named resources that one agent process at a time may hold, such as a filesystem that is scanned.
// They are registered with the holder's process id in a resource file (see ResourceFile), so that a
// holder that died is recognised and its resources are free again. Every operation serialises
// itself with other processes through the lock file; a process uses them on one thread.
namespace orv {

// The type of the scan's resources; the type chooses the resource file.
inline constexpr int SCAN_RESOURCE = 2;

// Results of lockResource.
inline constexpr int RESOURCE_LOCKED = 0;
inline constexpr int RESOURCE_ALREADY_HELD = 150;
inline constexpr int RESOURCE_HELD_BY_ANOTHER = 152;
inline constexpr int RESOURCE_FAILED = -1;

// How long the lock file is waited for.
inline constexpr std::chrono::seconds LOCK_FILE_PATIENCE{180};

// "<install location>/log/orv_scan_res" for the scan.
[[nodiscard]] std::string getResourceFileName(const std::string& installLocation, int type);

// Registers the resource for this process: RESOURCE_LOCKED, RESOURCE_ALREADY_HELD when this process
// took it before, RESOURCE_HELD_BY_ANOTHER when a running process holds it, or RESOURCE_FAILED when
// the resource file or its lock file could not be had or replaced. Records of processes that run no
// more are dropped on the way, also one that shows this process's own id and that it did not write:
// ids are given out again. Why the resource is not held stands in `reason`, unless that is null.
[[nodiscard]] int lockResource(const std::string& installLocation, const std::string& resourceName,
                               int type, std::string* reason = nullptr);

// Removes this process's registration. 0 also when there was none; RESOURCE_HELD_BY_ANOTHER when
// the resource is registered for another process, whose record is kept; or RESOURCE_FAILED.
[[nodiscard]] int unlockResource(const std::string& installLocation,
                                 const std::string& resourceName, int type);

// Takes the lock file of a resource type, trying once a second for as long as `patience` lasts and
// the job is not stopped. Null when it was not to be had, with why in `reason`, unless that is
// null. While it is held it names the holder's process id.
[[nodiscard]] std::unique_ptr<Filelock> createResourceLockFile(
    int type, const std::string& installLocation,
    std::chrono::seconds patience = LOCK_FILE_PATIENCE, std::string* reason = nullptr);

// Releases the lock file. -1 for null, else 0.
int deleteResourceLockFile(std::unique_ptr<Filelock> lock);

}  // namespace orv
