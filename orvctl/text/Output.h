#pragma once

#include <unistd.h>

#include <cerrno>
#include <string_view>

#include "orvctl/text/CtlError.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/UniqueFd.h"

namespace orv::ctl {

// Writes to standard output. Throws CtlError when that takes no more (a full disk).
inline void writeOut(std::string_view text) {
  if (!writeFully(STDOUT_FILENO, text))
    throw CtlError("cannot write to standard output: " + errnoText(errno));
}

// Writes to standard error, which is the last resort: a failure has nowhere to go.
inline void writeError(std::string_view text) {
  (void)writeFully(STDERR_FILENO, text);
}

}  // namespace orv::ctl
