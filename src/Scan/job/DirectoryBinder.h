#pragma once

#include "Scan/job/FilesystemBinding.h"

// Ties a job's monitored directories to the filesystems that hold them. Called by the filesystem
// scan, on its thread.
namespace orv {

// Binds every specification of the chain to every filesystem that it lies in, and brings its path
// into the system's form: "/" for "\", and whether it is a pattern. The filesystems' mount points
// get a "/" at their ends, so a specification of the mount point itself needs one, too.
//
// Mount points are compared without regard to case, as the server may write them in either; the
// walk itself is exact. A pattern that is not valid is reported and left out: SCAN_INCOMPLETE,
// else 0.
[[nodiscard]] int bindDirectories(MonDirSpec* directories, Bindings& bindings);

}  // namespace orv
