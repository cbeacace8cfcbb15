#include "runtime/thrd/StopFlag.h"

#include "runtime/ut/ORVException.h"
#include "runtime/ut/Trace.h"

namespace orv {

void traceCaughtSignal() {
  if (const int signal = caughtSignal.exchange(0); signal != 0)
    // Told here and not by the handler, which may have interrupted the trace itself.
    TRACE(TR_MAX, "Caught signal %d", signal);
}

void throwScanAbort() {
  traceCaughtSignal();
  // The text names the other platform's reader; it is kept so in every trace.
  TRACE(TR_ERROR, "DirectoryReaderWin32::NextDirEntry() : agentStop is true");
  throw new ScanAbortException("Scan abort initiated by Server -> terminating scan");
}

}  // namespace orv
