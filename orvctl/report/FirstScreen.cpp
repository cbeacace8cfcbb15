#include "orvctl/report/FirstScreen.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "orvctl/report/DirectoryTables.h"
#include "orvctl/text/DisplayText.h"
#include "orvctl/text/Units.h"

namespace orv::ctl {
namespace {

// A terminal's lines less one for the prompt and one for where the result lies.
constexpr int LINES = 22;
constexpr int LABEL = 14;
constexpr std::size_t NAMED_MOUNTS = 3;

class Head final {
 public:
  Head(const Scan& scan, const Root& root, const Style& style)
      : m_scan(scan), m_root(root), m_style(style) {}

  [[nodiscard]] std::string render() {
    const std::string host = m_scan.host.empty() ? "" : " on " + m_scan.host;
    m_out =
        emphasized("Scan of " + pathText(m_root.path, m_style) + host, Emphasis::TITLE, m_style) +
        "\n";
    const Statistics& main = m_root.main();
    if (!m_root.profiles.empty() && m_root.profiles.front().name != "everything")
      fact("Counted", m_root.profiles.front().name);
    fact("Scanned", timeText(m_root.scanned) + duration());
    if (main.totals)
      totals(*main.totals);
    links();
    capacity();
    unused();
    unread();
    notEntered();
    return m_out;
  }

 private:
  void fact(std::string_view label, const std::string& text) {
    m_out += fmt::format("  {:<{}}{}\n", label, LABEL, text);
  }
  void warning(std::string_view label, const std::string& text) {
    m_out += "  " +
             emphasized(fmt::format("{:<{}}{}", label, LABEL, text), Emphasis::WARNING, m_style) +
             "\n";
  }

  [[nodiscard]] std::string duration() const {
    if (!m_scan.run || !m_scan.run->seconds)
      return {};
    const std::string time = elapsedText(*m_scan.run->seconds);
    return m_scan.roots.size() > 1 ? ", all roots in " + time : ", in " + time;
  }

  void totals(const Totals& totals) {
    std::string text = filesText(totals.files) + ", " + numberOf(totals.directories, "directory");
    if (totals.others.value_or(0) > 0)
      text += ", " + numberOf(*totals.others, "other");
    fact("Entries", text);
    fact("Total length",
         fmt::format("{} ({} bytes)", sizeText(totals.bytes), countText(totals.bytes)));
  }

  void links() {
    if (m_root.namesWithLinks && m_root.namesWithLinks->files > 0)
      fact("Hard links", fmt::format("{} with several links counted, {}: each file N-1 times",
                                     numberOf(m_root.namesWithLinks->files, "name"),
                                     sizeText(m_root.namesWithLinks->bytes)));
  }

  void capacity() {
    if (!m_root.capacity)
      return;
    const Capacity& figures = *m_root.capacity;
    std::string text =
        fmt::format("{} in all, {} used or reserved, {} free", sizeText(figures.bytes),
                    sizeText(figures.used), sizeText(figures.free));
    if (m_root.dfUsed)
      text += fmt::format("\n  {:<{}}df shows {} used", "", LABEL, sizeText(*m_root.dfUsed));
    fact("Filesystem", text);
  }

  // The share of the length that nobody has used for so long.
  void unused() {
    const auto& totals = m_root.main().totals;
    if (m_root.ages.empty() || !totals || totals->bytes == 0)
      return;
    std::string text;
    for (const AgeLimit& age : m_root.ages)
      text += fmt::format("{}{} for {}", text.empty() ? "" : ", ", sizeText(age.all.bytes),
                          ageLimitText(age.seconds));
    fact(m_root.ages.front().kind == AgeKind::ACCESSED ? "Not accessed" : "Not changed", text);
    if (m_root.ages.front().kind != AgeKind::ACCESSED)
      m_out +=
          fmt::format("  {:<{}}(mounted with noatime: access times tell nothing)\n", "", LABEL);
  }

  void unread() {
    if (!m_root.notRead)
      return;
    const NotRead& left = *m_root.notRead;
    std::string text;
    const auto add = [&text](std::int64_t count, const std::string& what) {
      if (count > 0)
        text += (text.empty() ? "" : ", ") + what;
    };
    add(left.unreadable, numberOf(left.unreadable, "entry") + " unreadable");
    add(left.tooDeep, numberOf(left.tooDeep, "directory") + " beyond 200 levels");
    add(left.tooLong, numberOf(left.tooLong, "path") + " too long");
    if (!text.empty())
      warning("Not read", text + " (see --section warnings)");
  }

  void notEntered() {
    if (!m_root.notRead)
      return;
    std::vector<std::string> names;
    for (const std::string& mount : m_root.notRead->otherMounts)
      names.push_back(mount);
    for (const std::string& snapshot : m_root.notRead->snapshots)
      names.push_back(snapshot);
    if (names.empty())
      return;
    std::string text;
    for (std::size_t i = 0; i < std::min(names.size(), NAMED_MOUNTS); ++i)
      text += (text.empty() ? "" : ", ") + pathText(names[i], m_style);
    if (names.size() > NAMED_MOUNTS)
      text += fmt::format(" and {} more", names.size() - NAMED_MOUNTS);
    fact("Not entered", text);
  }

  const Scan& m_scan;
  const Root& m_root;
  const Style& m_style;
  std::string m_out;
};

}  // namespace

std::string renderFirstScreen(const Scan& scan, const Root& root, const ReportOptions& options) {
  const std::string head = Head(scan, root, options.style).render();
  const int room = LINES - linesOf(head, options.style) - 1;
  return head + renderLargestDirectories(root, options, room) + "\n";
}

}  // namespace orv::ctl
