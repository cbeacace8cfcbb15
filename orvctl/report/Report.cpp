#include "orvctl/report/Report.h"

#include <fmt/format.h>

#include <algorithm>

#include "orvctl/report/FirstScreen.h"
#include "orvctl/report/ReportSections.h"
#include "orvctl/text/DisplayText.h"
#include "orvctl/text/TextTable.h"
#include "orvctl/text/Units.h"

namespace orv::ctl {
namespace {

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

std::string renderRoot(const Scan& scan, const Root& root, const ReportOptions& options) {
  std::string out;
  for (const SectionName& row : SECTIONS)
    if (options.wants(row.section))
      out += row.section == Section::SUMMARY ? renderFirstScreen(scan, root, options)
                                             : renderSection(row.section, root, options);
  return out;
}

}  // namespace

bool ReportOptions::wants(Section section) const {
  if (!sections.empty())
    return sections.contains(section);
  return std::ranges::find(SECTIONS, section, &SectionName::section)->always;
}

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
