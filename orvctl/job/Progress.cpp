#include "orvctl/job/Progress.h"

#include <fmt/format.h>
#include <unistd.h>

#include <utility>

#include "orvctl/text/DisplayText.h"
#include "orvctl/text/Output.h"
#include "orvctl/text/Units.h"

namespace orv::ctl {
namespace {

// Back to the first column, and empty from there on.
constexpr const char* CLEAR_LINE = "\r\x1b[K";

}  // namespace

std::string progressText(std::uint64_t entries, double perSecond, std::int64_t expected,
                         double elapsedSeconds) {
  std::string text = countText(static_cast<std::int64_t>(entries)) + " entries, " +
                     countText(static_cast<std::int64_t>(perSecond)) + "/s, ";
  // Several names may lead to one inode, so that there can be more entries than inodes.
  const auto done = static_cast<double>(entries);
  const auto all = static_cast<double>(expected);
  if (expected > 0 && done < all) {
    text += fmt::format("{:.0f}%", 100 * done / all);
    if (entries > 0 && elapsedSeconds >= 1)
      text += " (about " + elapsedText(elapsedSeconds * (all - done) / done) + " left)";
    text += ", ";
  }
  return text + elapsedText(elapsedSeconds);
}

Progress::Progress(std::string subject, std::int64_t expected, std::string pageFile)
    : m_subject(std::move(subject)),
      m_expected(expected),
      m_pageFile(std::move(pageFile)),
      m_style(styleFor(STDERR_FILENO)),
      m_onLine(m_style.terminal && !m_style.dumb),
      m_page(ProgressPage::make(m_pageFile)) {
  if (!m_onLine)
    writeError(fmt::format("Scanning {}\n", m_subject));
}

Progress::~Progress() {
  ::unlink(m_pageFile.c_str());
}

std::chrono::milliseconds Progress::interval() const {
  return m_onLine ? std::chrono::seconds(1) : std::chrono::seconds(30);
}

std::string Progress::directory() const {
  return m_page ? m_page->read().directory : std::string();
}

void Progress::tick(double elapsedSeconds) {
  const ProgressPage::State state = m_page ? m_page->read() : ProgressPage::State{};
  const double since = elapsedSeconds - m_lastTime;
  const double perSecond =
      since > 0 ? static_cast<double>(state.entries - m_lastEntries) / since : 0;
  m_lastTime = elapsedSeconds;
  m_lastEntries = state.entries;
  const std::string text = progressText(state.entries, perSecond, m_expected, elapsedSeconds);
  if (!m_onLine) {
    writeError(fmt::format("Still scanning {}: {}\n", m_subject, text));
    return;
  }
  // One column stays free: a full line would wrap and could not be cleared.
  const std::string where = "  " + printable(state.directory.empty() ? m_subject : state.directory);
  const int room = m_style.width - 1 - displayWidth(text);
  writeError(CLEAR_LINE + text + shortened(where, room, m_style.ellipsis()));
}

void Progress::stopping() {
  writeError(std::string(m_onLine ? CLEAR_LINE : "") + "Stopping (again to kill)\n");
}

void Progress::end() {
  if (m_onLine)
    writeError(CLEAR_LINE);
}

}  // namespace orv::ctl
