#include "Scan/job/DirectoryBinder.h"

#include "Probe/Filesystem.h"
#include "Probe/NasFiler.h"
#include "Scan/definition/ComputerID.h"
#include "Scan/definition/MonDirSpec.h"
#include "runtime/nls/MessageLog.h"
#include "runtime/ut/ScanPaths.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

// The computer that a filesystem belongs to: its filer, or this one; -1 when that is not known.
std::int32_t owningComputer(const Filesystem& filesystem) {
  if (filesystem.nasFiler)
    return filesystem.nasFiler->nasComputerID;
  if (ComputerID::cachedCID)
    return *ComputerID::cachedCID;
  TRACE(TR_MAX, "FilesystemScan::doScan(...) : ERROR: 'ComputerID::cachedCID' is NULL.");
  return -1;
}

// Finds out whether the specification is a pattern of paths.
void maskedPath(MonDirSpec& dirSpec) {
  const std::string& path = dirSpec.getMdsPath();
  dirSpec.setMdsMaskedPath(path.find_first_of("*?[") != std::string::npos ||
                           path.find("/%/") != std::string::npos);
}

// The pattern of a masked path; null, with a message, when it is not valid.
std::shared_ptr<const PathPattern> compileMask(const std::string& path) {
  // Directories are met without a "/" at their ends; that of a last "%/" is part of it.
  const std::string_view mask = path.ends_with("/%/") ? path : withoutTrailingSlash(path);
  std::string error;
  std::shared_ptr<const PathPattern> pattern =
      PathPattern::compile(mask, PatternScope::PATH, error);
  if (!pattern)
    issueMessage(msg::STA0030E, {path, error});
  return pattern;
}

bool isOnComputer(const MonDirSpec& dirSpec, const Filesystem& filesystem) {
  const std::int32_t computer = dirSpec.getMdsComputerID();
  return computer < 1 || computer == owningComputer(filesystem) ||
         computer == filesystem.fsComputerID;
}

// Whether a path lies in the filesystem with that mount point, `depth` components below it.
bool liesBelow(std::string_view path, std::string_view mountPoint, int& depth) {
  depth = pathDepth(path) - pathDepth(mountPoint);
  if (depth < 0 || (depth == 0 && findSlashes(path) != findSlashes(mountPoint)))
    return false;
  return equalIgnoringCase(path.substr(0, mountPoint.size()), mountPoint);
}

void bindDirectory(FSRef& ref, MonDirSpec& dirSpec,
                   const std::shared_ptr<const PathPattern>& mask) {
  if (ref.filesystem == nullptr) {
    TRACE(TR_MAX,
          "(if ( fsRef->filesystem != NULL )) == FALSE. There seems to be an error => continue "
          "loop without further processing.");
    return;
  }
  TRACE(TR_GENERAL, "(if ( fsRef->filesystem != NULL )) == TRUE. Assign the NAS Filer to <filer>.");
  std::string& mountPoint = ref.filesystem->fsMountPoint;
  mountPoint = withTrailingSlash(mountPoint);
  int depth = 0;
  if (!isOnComputer(dirSpec, *ref.filesystem) ||
      !liesBelow(dirSpec.getMdsPath(), mountPoint, depth))
    return;
  TRACE(TR_GENERAL, "regionMatches(0, path, (dirSpec->mdsPath), 0, length) == TRUE");
  ref.directories.push_front({&dirSpec, depth, mask});
  TRACE(TR_GENERAL, "Directory to Monitor: %s", dirSpec.getMdsPath().c_str());
}

}  // namespace

int bindDirectories(MonDirSpec* directories, Bindings& bindings) {
  TRACE(TR_GENERAL, "while ( dirSpec != NULL )...");
  int rc = 0;
  for (MonDirSpec* dirSpec = directories; dirSpec != nullptr; dirSpec = dirSpec->getMdsNext()) {
    dirSpec->setMdsPath(replaceDelimiter(dirSpec->getMdsPath()));
    maskedPath(*dirSpec);
    std::shared_ptr<const PathPattern> mask;
    if (dirSpec->getMdsMaskedPath() && !(mask = compileMask(dirSpec->getMdsPath()))) {
      rc = SCAN_INCOMPLETE;
      continue;
    }
    for (const auto& ref : bindings.refs)
      bindDirectory(*ref, *dirSpec, mask);
  }
  return rc;
}

}  // namespace orv
