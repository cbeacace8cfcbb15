#include "orvctl/job/Progress.h"

#include <fmt/format.h>
#include <unistd.h>

#include "orvctl/text/DisplayText.h"
#include "orvctl/text/Output.h"
#include "orvctl/text/Style.h"
#include "orvctl/text/Units.h"

namespace orv::ctl {
namespace {

// Back to the first column, and empty from there on.
constexpr const char* CLEAR_LINE = "\r\x1b[K";

}  // namespace

Progress::Progress(const std::string& root, JobLog& log)
    : m_root(printable(root)), m_log(log), m_onTerminal(::isatty(STDERR_FILENO) == 1) {
  if (!m_onTerminal)
    writeError(fmt::format("Scanning {}\n", m_root));
}

std::chrono::milliseconds Progress::interval() const noexcept {
  return m_onTerminal ? std::chrono::milliseconds(200) : std::chrono::seconds(30);
}

void Progress::show(double elapsedSeconds) {
  m_log.poll();
  std::string state = elapsedText(elapsedSeconds);
  if (m_log.entriesScanned() > 0)
    state = countText(m_log.entriesScanned()) + " entries, " + state;
  if (!m_onTerminal) {
    writeError(fmt::format("Still scanning {}: {}\n", m_root, state));
    return;
  }
  const Style style = styleFor(STDERR_FILENO);
  // One column stays free: a full line would wrap and could not be cleared.
  const std::string line = fmt::format("Scanning {}: ", m_root);
  const int room = style.width - 1 - displayWidth(state);
  writeError(CLEAR_LINE + shortened(line, room, style.ellipsis()) + state);
}

void Progress::end() {
  if (m_onTerminal)
    writeError(CLEAR_LINE);
}

}  // namespace orv::ctl
