#include "Scan/walk/LocalPath.h"

#include "runtime/ut/Trace.h"

namespace orv {

bool LocalPath::retrieve(std::string_view path, std::string& local, std::size_t& available) const {
  TRACE_METHOD("RetrieveLocalPath(...)");
  const std::size_t trueLength = serverRoot.size();
  const std::size_t length = path.size() > trueLength ? path.size() - trueLength : 0;
  const std::size_t needed = length + localRoot.size();
  const bool longEnough = needed <= available;
  TRACE(TR_GENERAL, "Current thing: localPath = %s, localLength = %zu, trueLength = %zu",
        localRoot.c_str(), localRoot.size(), trueLength);
  TRACE(TR_GENERAL, "length = %zu, needed = %zu, available = %zu, longEnough = %d", length, needed,
        available, longEnough ? 1 : 0);
  const std::string_view rest = path.substr(path.size() - length);
  local = localRoot;
  if (longEnough) {
    local += rest;
    available = needed;
    // A server's root that is this machine's root directory, too.
    if (local.empty())
      local = "/";
    TRACE(TR_GENERAL, "Got output (local path) = %s", local.c_str());
  } else {
    if (available > localRoot.size())
      local += rest.substr(0, available - localRoot.size() - 1);
    TRACE(TR_MAX, "path is too long ... throwing Exception with STA0139W for %.*s",
          static_cast<int>(path.size()), path.data());
  }
  TRACE(TR_EXIT, "Exit: %s; rc: %d\n", "RetrieveLocalPath(...)", longEnough ? 1 : 0);
  return longEnough;
}

}  // namespace orv
