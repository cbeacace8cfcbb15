#include "orvctl/report/Report.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <vector>

#include "orvctl/report/ReportSections.h"
#include "orvctl/report/WatchedReport.h"
#include "orvctl/text/CtlError.h"
#include "orvctl/text/DisplayText.h"
#include "orvctl/text/Units.h"
#include "runtime/ut/ScanPaths.h"

namespace orv::ctl {
namespace {

// Capacity figures are counted in these units.
constexpr std::int64_t CAPACITY_UNIT = 512;

std::string factLine(std::string_view name, std::string_view value) {
  return fmt::format("  {:<12}{}\n", name, value);
}

// What a filesystem's block of results was gathered on: its mount point.
std::string subjectOf(const ResultFile& result, const Entity& resultsByFs) {
  for (const Record& link : result.records(resultsByFs))
    for (const Entity& entity : result.scan().children)
      if (entity.name == "Filesystem")
        for (const Record& filesystem : result.records(entity))
          if (filesystem.text("fsID") == link.text("rfDirOrFS"))
            return printable(withoutTrailingSlash(filesystem.text("fsMountPoint")));
  return "an unnamed filesystem";
}

std::string summaryFacts(const Record& summary, const JobLog& log) {
  std::string when = timeText(summary.number("sumScanTime"));
  if (log.duration() >= 0)
    when += ", took " + elapsedText(log.duration());
  const auto capacity = [&summary](std::string_view field) {
    return sizeText(summary.number(field) * CAPACITY_UNIT);
  };
  return factLine("Scanned", when) +
         factLine("Files", countText(summary.number("sumFileCount")) + " with symbolic links") +
         factLine("Directories", countText(summary.number("sumDirectoryCount"))) +
         factLine("Total size",
                  fmt::format("{} ({} bytes)", sizeText(summary.number("sumTotalSize")),
                              countText(summary.number("sumTotalSize")))) +
         factLine("Filesystem", fmt::format("{} in all, {} used, {} free", capacity("sumCapacity"),
                                            capacity("sumUsedSpace"), capacity("sumFreeSpace")));
}

// The results of one profile on one filesystem.
std::string renderResults(const ResultFile& result, const Record& profile,
                          const Entity& resultsByFs, const JobLog& log,
                          const ReportOptions& options) {
  const Entity* results = resultsByFs.child("CuStatResults");
  if (results == nullptr)
    return {};
  std::string out =
      emphasized("Scan of " + subjectOf(result, resultsByFs), Emphasis::TITLE, options.style) +
      "\n";
  out += factLine("Profile", printable(profile.text("sdName")));
  if (const Entity* summary = results->child("SSummary"))
    for (const Record& record : result.records(*summary))
      out += summaryFacts(record, log);
  return out + renderSections(result, profile, *results, options) + "\n";
}

}  // namespace

std::string renderWarnings(const JobLog& log, const ReportOptions& options) {
  if (log.warningCount() == 0)
    return {};
  std::string out =
      emphasized(
          fmt::format("Warnings ({})", countText(static_cast<std::int64_t>(log.warningCount()))),
          Emphasis::WARNING, options.style) +
      "\n";
  const std::size_t shown = std::min(log.warnings().size(), static_cast<std::size_t>(options.top));
  for (std::size_t i = 0; i < shown; ++i)
    out += "  " + printable(log.warnings()[i]) + "\n";
  if (shown < log.warningCount())
    out += fmt::format("  ({} more in {})\n",
                       countText(static_cast<std::int64_t>(log.warningCount() - shown)),
                       printable(log.path()));
  return out + "\n";
}

std::string renderReport(const ResultFile& result, const JobLog& log,
                         const ReportOptions& options) {
  std::string out;
  std::vector<Record> specs;  // monitored directories of the filesystem at hand
  for (const Entity& entity : result.scan().children) {
    if (entity.name == "Filesystem")
      specs.clear();
    if (entity.name == "MonDirSpec")
      std::ranges::copy(result.records(entity), std::back_inserter(specs));
    if (entity.name != "CuStatDef")
      continue;
    for (const Record& profile : result.records(entity)) {
      for (const Entity& child : entity.children)
        if (child.name == "ResultsByFS" && child.child("SMonDir") == nullptr)
          out += renderResults(result, profile, child, log, options);
      out += renderWatched(result, profile, entity, specs, options);
    }
  }
  if (out.empty())
    throw CtlError(
        fmt::format("cannot report {}: it holds no statistics", printable(result.path())));
  return out + renderWarnings(log, options) + "Result: " + printable(result.path()) + "\n";
}

}  // namespace orv::ctl
