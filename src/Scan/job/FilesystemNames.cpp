#include "Scan/job/FilesystemNames.h"

#include <algorithm>
#include <map>

#include "Probe/NasFiler.h"
#include "runtime/ut/ScanPaths.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

// Four hosts at most, three names and an address, and two forms of the export for each.
constexpr std::size_t MAX_CANDIDATES = 8;
constexpr const char* ROOT_VOLUME = "vol/vol0";

// The domain of the filers that name none; it sorts before every real one.
constexpr std::int32_t DEFAULT_DOMAIN_ID = -1;

// The mount table has no "/" at the ends of its mount points, definitions may.
std::string mountPointOf(const Filesystem& filesystem) {
  return std::string(withoutTrailingSlash(filesystem.fsMountPoint));
}

std::string exportOf(const Filesystem& filesystem) {
  // A definition that names no export means that the mount point is called like it.
  return filesystem.fsExportName.empty() ? mountPointOf(filesystem) : filesystem.fsExportName;
}

void addOnce(std::vector<std::string>& names, std::string name) {
  if (!name.empty() && names.size() < MAX_CANDIDATES &&
      std::find(names.begin(), names.end(), name) == names.end())
    names.push_back(std::move(name));
}

// The filer's host names: its name fields, then the address that the last of them resolves to.
std::vector<std::string> hostNames(const NasFiler& filer) {
  std::vector<std::string> hosts;
  // In this order: the last one is what gets resolved when the mount table knows none of them.
  for (const std::string* field : {&filer.nasName, &filer.nasHostName, &filer.nasAddress})
    addOnce(hosts, removeSurroundingWhitespaces(*field));
  if (hosts.empty())
    return hosts;
  const std::string address = InetAddress::getHostAddress(hosts.back());
  // An IPv6 address stands in brackets, or its colons would hide the one before the export.
  addOnce(hosts, address.find(':') == std::string::npos || address.front() == '['
                     ? address
                     : "[" + address + "]");
  return hosts;
}

std::vector<std::string> filerCandidates(const Filesystem& filesystem, const NasFiler& filer) {
  std::vector<std::string> candidates;
  const std::string exportName = exportOf(filesystem);
  for (const std::string& host : hostNames(filer)) {
    addOnce(candidates, host + ":" + exportName);
    // Mount tables have this one volume with a "/" and without.
    if (exportName == ROOT_VOLUME)
      addOnce(candidates, host + ":/" + exportName);
  }
  return candidates;
}

std::vector<std::string> plainExportCandidates(const Filesystem& filesystem,
                                               const NasFiler& filer) {
  std::vector<std::string> candidates;
  addOnce(candidates, filer.nasName);
  if (!filer.nasHostName.empty() && mountPointOf(filesystem) != std::string("/") + ROOT_VOLUME)
    addOnce(candidates, filer.nasHostName + ":/" + exportOf(filesystem));
  return candidates;
}

}  // namespace

std::vector<std::string> mountCandidates(const Filesystem& filesystem) {
  if (!filesystem.nasFiler)
    return {mountPointOf(filesystem)};
  const NasFiler& filer = *filesystem.nasFiler;
  return filer.nasOsType == FILER_OS_PLAIN_EXPORTS ? plainExportCandidates(filesystem, filer)
                                                   : filerCandidates(filesystem, filer);
}

std::string networkName(const NasFiler& filer) {
  for (const std::string* field : {&filer.nasHostName, &filer.nasName, &filer.nasAddress}) {
    std::string name = removeSurroundingWhitespaces(*field);
    if (!name.empty())
      return name;
  }
  return {};
}

std::string qualifiedFSName(const Filesystem* fs) {
  if (fs == nullptr) {
    TRACE(TR_MAX, "parameter <fs> is NULL.");
    return {};
  }
  if (!fs->nasFiler)
    return fs->fsMountPoint;
  return networkName(*fs->nasFiler) + " (" + exportOf(*fs) + ")";
}

std::unique_ptr<FilesystemList> arrangeFilesystems(std::unique_ptr<FilesystemList> pFSList) {
  TRACE_METHOD("arrangeFilesystems(...)");
  auto arranged = std::make_unique<FilesystemList>();
  if (!pFSList) {
    TRACE(TR_MAX, "parameter <pFSList> is NULL.");
    return arranged;
  }
  // Filers of one domain, in the order in which they were met, each with its filesystems.
  struct FilerGroup {
    std::int32_t nasID;
    FilesystemList filesystems;
  };
  // In the order of their numbers: which filesystem comes first must not depend on hashing.
  std::map<std::int32_t, std::vector<FilerGroup>> domains;
  for (auto& filesystem : *pFSList) {
    if (!filesystem->nasFiler) {
      arranged->push_back(std::move(filesystem));
      continue;
    }
    const NasFiler& filer = *filesystem->nasFiler;
    auto& filers = domains[filer.domain ? filer.domain->dmID : DEFAULT_DOMAIN_ID];
    auto group = std::find_if(filers.begin(), filers.end(),
                              [&filer](const FilerGroup& g) { return g.nasID == filer.nasID; });
    if (group == filers.end())
      group = filers.insert(filers.end(), FilerGroup{filer.nasID, {}});
    group->filesystems.push_back(std::move(filesystem));
  }
  // Filers keep their order of arrival within a domain; only their filesystems are reversed.
  for (auto& [domainID, filers] : domains)
    for (FilerGroup& group : filers)
      std::move(group.filesystems.rbegin(), group.filesystems.rend(),
                std::back_inserter(*arranged));
  return arranged;
}

void sortFilesystemsByID(FilesystemList& filesystems) {
  TRACE_METHOD("sortFilesystemsByID(...)");
  // Stable: the definition decides between two of one number.
  std::stable_sort(filesystems.begin(), filesystems.end(),
                   [](const auto& a, const auto& b) { return a->fsID < b->fsID; });
}

}  // namespace orv
