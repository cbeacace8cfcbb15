#pragma once

#include <string>
#include <vector>

#include "Probe/Filesystem.h"

// The names of a job's filesystems: under which the mount table may list them, which messages show,
// and the order in which they are worked through.
namespace orv {

// Operating-system code of a filer whose exports are named without a "/" in front.
inline constexpr std::int32_t FILER_OS_PLAIN_EXPORTS = 23;

// The names under which the mount table may list a filesystem, most likely first, at most eight:
// its mount point, or the host and export names of its filer. Resolves the filer's address.
[[nodiscard]] std::vector<std::string> mountCandidates(const Filesystem& filesystem);

// The name used in messages: the mount point; for a filer's filesystem the filer's network name
// with the export in parentheses. Empty, with a trace, for null.
[[nodiscard]] std::string qualifiedFSName(const Filesystem* fs);

// The name under which a filer is known in its network.
[[nodiscard]] std::string networkName(const NasFiler& filer);

// The order in which the job works: local filesystems as they come, then those of filers, grouped
// by domain (ascending identifier) and filer, each filer's in the reverse of their order. Null
// gives an empty list.
[[nodiscard]] std::unique_ptr<FilesystemList> arrangeFilesystems(
    std::unique_ptr<FilesystemList> pFSList);

// Re-orders a list by ascending fsID; equal identifiers keep their order.
void sortFilesystemsByID(FilesystemList& filesystems);

}  // namespace orv
