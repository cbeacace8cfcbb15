#include "Scan/unix/StreamRules.h"

#include "Scan/walk/Scanner.h"
#include "runtime/nls/MessageLog.h"
#include "runtime/ut/ORVException.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"

namespace orv {

void reportOpenFailure(Scanner& scanner, const std::string& path, int error) {
  scanner.noteFailure(error);
  TRACE(TR_MAX, ">> opendir() failed on %s \n", path.c_str());
  issueMessage(msg::STA0121E, {path, errnoText(error)});
}

void throwReadFailure(const std::string& path, int error) {
  issueMessage(msg::STA0122E, {path, errnoText(error)});
  throw LocalizableException("read directory " + path + ": " + errnoText(error));
}

}  // namespace orv
