#include "orvctl/report/Report.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "orvctl/report/DirectoryTables.h"
#include "orvctl/text/DisplayText.h"
#include "orvctl/text/TextTable.h"
#include "orvctl/text/Units.h"

namespace orv::ctl {
namespace {

// A terminal's lines less one for the prompt and one for where the result lies.
constexpr int LINES = 22;
constexpr int LABEL = 14;
constexpr std::size_t NAMED_MOUNTS = 3;

// A directory that was passed by, and why: "/data/tmp (tmpfs)".
std::string notEnteredText(const NotEntered& directory, const Style& style) {
  return pathText(directory.path, style) + " (" + directory.kind + ")";
}

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
    if (!m_root.namesWithLinks)
      return;
    if (m_root.namesWithLinks->files == 0 && m_root.hasLinkedFiles)
      fact("Hard links", "files whose other names lie elsewhere are not counted");
    if (m_root.namesWithLinks->files > 0)
      fact("Hard links", fmt::format("{} with several links ({}) counted N-1 times",
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
    const std::vector<NotEntered> names = m_root.notRead->notEntered();
    if (names.empty())
      return;
    std::string text;
    for (std::size_t i = 0; i < std::min(names.size(), NAMED_MOUNTS); ++i)
      text += (text.empty() ? "" : ", ") + notEnteredText(names[i], m_style);
    if (names.size() > NAMED_MOUNTS)
      text += fmt::format(" and {} more (see --section warnings)", names.size() - NAMED_MOUNTS);
    fact("Not entered", text);
  }

  const Scan& m_scan;
  const Root& m_root;
  const Style& m_style;
  std::string m_out;
};

using Kind = TextTable::Kind;

// The roots of one scan side by side, and their sum.
std::string renderRoots(const Scan& scan, const ReportOptions& options) {
  TextTable table({{"size", Kind::FIGURE},
                   {"files", Kind::FIGURE},
                   {"dirs", Kind::FIGURE},
                   {"capacity", Kind::FIGURE},
                   {"free", Kind::FIGURE},
                   {"path", Kind::PATH}});
  const auto add = [&](const std::optional<Totals>& totals, const Root* root) {
    const bool known = root != nullptr && root->capacity.has_value();
    table.addRow({totals ? sizeText(totals->bytes) : "-", totals ? countText(totals->files) : "-",
                  totals ? countText(totals->directories) : "-",
                  known ? sizeText(root->capacity->bytes) : "",
                  known ? sizeText(root->capacity->free) : "",
                  root != nullptr ? pathText(root->path, options.style) : "in all"});
  };
  for (const Root& root : scan.roots)
    add(root.main().totals, &root);
  add(scan.totals(), nullptr);
  return emphasized(fmt::format("Scan of {} directories", scan.roots.size()), Emphasis::TITLE,
                    options.style) +
         "\n" + table.render(options.style) + "\n";
}

// What a root holds, on one screen of 24 lines: the head figures, what they leave out, and as many
// of the largest directories as there is room for. Ends in an empty line.
std::string renderFirstScreen(const Scan& scan, const Root& root, const ReportOptions& options) {
  const std::string head = Head(scan, root, options.style).render();
  const int room = LINES - linesOf(head, options.style) - 1;
  return head + renderLargestDirectories(root, options, room) + "\n";
}

// All that was passed by: the first screen names a few.
std::string renderNotEntered(const Root& root, const ReportOptions& options) {
  const auto names = root.notRead ? root.notRead->notEntered() : std::vector<NotEntered>{};
  if (names.empty())
    return {};
  const auto count = static_cast<std::int64_t>(names.size());
  std::string out = emphasized(fmt::format("Not entered ({})", countText(count)), Emphasis::TITLE,
                               options.style) +
                    "\n";
  const std::size_t shown = std::min(names.size(), static_cast<std::size_t>(options.top));
  for (std::size_t i = 0; i < shown; ++i)
    out += "  " + notEnteredText(names[i], options.style) + "\n";
  if (shown < names.size())
    out += fmt::format("  ({} more)\n", countText(count - static_cast<std::int64_t>(shown)));
  return out + "\n";
}

// The sections that are about a root, not about a profile.
struct RootSection {
  Section section;
  std::string (*render)(const Root&, const ReportOptions&);
};
constexpr std::array<RootSection, 4> ROOT = {{{Section::DIRECTORIES, renderDirectories},
                                              {Section::WATCHED_LIST, renderWatchedList},
                                              {Section::OLD, renderOld},
                                              {Section::WATCHED, renderWatched}}};

std::string renderSection(Section section, const Root& root, const ReportOptions& options) {
  const auto* row = std::ranges::find(ROOT, section, &RootSection::section);
  return row != ROOT.end() ? row->render(root, options) : renderStatistics(section, root, options);
}

std::string renderRoot(const Scan& scan, const Root& root, const ReportOptions& options) {
  std::string out;
  for (const SectionName& row : SECTIONS)
    if (options.wants(row.section))
      out += row.section == Section::SUMMARY ? renderFirstScreen(scan, root, options)
                                             : renderSection(row.section, root, options);
  return options.wants(Section::WARNINGS) ? out + renderNotEntered(root, options) : out;
}

}  // namespace

std::string renderWarnings(const Run& run, const ReportOptions& options) {
  if (run.warningCount == 0)
    return {};
  std::string out = emphasized(fmt::format("Warnings ({})", countText(run.warningCount)),
                               Emphasis::WARNING, options.style) +
                    "\n";
  const std::size_t shown = std::min(run.warnings.size(), static_cast<std::size_t>(options.top));
  for (std::size_t i = 0; i < shown; ++i)
    out += "  " + run.warnings[i] + "\n";
  if (const auto more = run.warningCount - static_cast<std::int64_t>(shown); more > 0)
    out += fmt::format("  ({} more in {})\n", countText(more), pathText(run.log, options.style));
  return out + "\n";
}

std::string renderReport(const Scan& scan, const ReportOptions& options) {
  std::string out;
  if (scan.roots.size() > 1 && options.wants(Section::SUMMARY))
    out += renderRoots(scan, options);
  for (const Root& root : scan.roots)
    out += renderRoot(scan, root, options);
  if (scan.run && options.wants(Section::WARNINGS))
    out += renderWarnings(*scan.run, options);
  return out + "Result: " + pathText(scan.result, options.style) + "\n";
}

}  // namespace orv::ctl
