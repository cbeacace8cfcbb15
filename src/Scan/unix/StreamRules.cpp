#include "Scan/unix/StreamRules.h"

#include "Common/ORVException.h"
#include "Common/unix/pssignal.h"
#include "common/nls/MessageLog.h"
#include "common/ut/Text.h"
#include "common/ut/Trace.h"

namespace orv {

void throwScanAbort() {
  traceCaughtSignal();
  // The text names the other platform's reader; it is kept so in every trace.
  TRACE(TR_ERROR, "DirectoryReaderWin32::NextDirEntry() : agentStop is true");
  throw new ScanAbortException("Scan abort initiated by Server -> terminating scan");
}

void reportOpenFailure(const std::string& path, int error) {
  TRACE(TR_MAX, ">> opendir() failed on %s \n", path.c_str());
  issueMessage(msg::STA0121E, {path, errnoText(error)});
}

void throwReadFailure(const std::string& path, int error) {
  issueMessage(msg::STA0122E, {path, errnoText(error)});
  throw LocalizableException("read directory " + path + ": " + errnoText(error));
}

}  // namespace orv
