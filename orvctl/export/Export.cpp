#include "orvctl/export/Export.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "orvctl/export/Csv.h"
#include "orvctl/export/Json.h"
#include "orvctl/export/MetricsFile.h"
#include "orvctl/export/Page.h"
#include "orvctl/export/WholeFile.h"
#include "orvctl/text/CtlError.h"
#include "orvctl/text/Output.h"
#include "orvctl/text/Utf8.h"
#include "runtime/unx/Files.h"
#include "runtime/ut/ScanPaths.h"
#include "runtime/ut/Text.h"

namespace orv::ctl {
namespace {

[[noreturn]] void contradicts(const std::string& why) {
  throw CtlError(why, EXIT_USAGE);
}

[[noreturn]] void cannotWrite(const ExportRequest& request, int error) {
  throw CtlError(fmt::format("cannot write {}: {}", utf8Text(request.output), errnoText(error)));
}

bool isDirectory(const std::string& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool writesTables(const ExportRequest& request) {
  return request.format == Format::CSV && !request.pathsOnly &&
         (request.sections.size() != 1 || isDirectory(request.output) ||
          request.output.ends_with('/'));
}

void checkWords(const ExportRequest& request) {
  const bool inSections = request.format == Format::TEXT || request.format == Format::CSV;
  if (!inSections && !request.sections.empty())
    contradicts("--section goes with --format text or csv; the other formats hold all sections");
  if (request.pathsOnly && request.sections.size() != 1)
    contradicts("--null lists the paths of one section: give --section files");
  if (request.pathsOnly && request.format != Format::TEXT)
    contradicts("--null is a format of its own and goes with no --format");
  if (writesTables(request) && request.output.empty())
    contradicts("--format csv writes one table a file: give --output DIR, or one --section");
}

// What has to be writable so that the output can be put there: itself where it is written into,
// else the directory in which it takes its name.
std::string writtenPlace(const std::string& output) {
  struct stat info {};
  if (::stat(output.c_str(), &info) == 0 && !S_ISREG(info.st_mode))
    return output;
  const std::string parent = parentDirectory(std::string(withoutTrailingSlash(output)));
  return parent.empty() ? "." : parent;
}

void checkPlace(const ExportRequest& request) {
  if (request.output.empty())
    return;
  if (isDirectory(request.output) && !writesTables(request))
    cannotWrite(request, EISDIR);
  const std::string place = writtenPlace(request.output);
  if (!isAccessible(place, isDirectory(place) ? W_OK | X_OK : W_OK))
    cannotWrite(request, errno);
}

void put(const ExportRequest& request, std::string_view text, mode_t mode) {
  if (request.output.empty())
    writeOut(text);
  else if (isDirectory(request.output))
    throw CtlError(fmt::format("cannot write {}: {}", utf8Text(request.output), errnoText(EISDIR)));
  else
    writeWholeFile(request.output, text, mode);
}

void putMetrics(const ExportRequest& request, const Scan& scan) {
  const MetricsOptions options{request.top};
  if (request.output.empty() || isDirectory(request.output))
    return put(request, renderMetrics(scan, options), METRICS_MODE);
  changeWholeFile(
      request.output, [&](std::string_view before) { return withScan(before, scan, options); },
      METRICS_MODE);
}

void writeTables(const ExportRequest& request, const Scan& scan) {
  if (!makePath(request.output))
    throw CtlError(fmt::format("cannot create the directory {}: {}", utf8Text(request.output),
                               errnoText(errno)));
  for (const SectionName& table : csvTables())
    if (request.sections.empty() || request.sections.contains(table.section))
      writeWholeFile(fmt::format("{}/{}.csv", request.output, table.name),
                     renderCsv(scan, table.section), REPORT_MODE);
}

}  // namespace

void checkRequest(const ExportRequest& request) {
  checkWords(request);
  checkPlace(request);
}

void exportScan(const ExportRequest& request, const Scan& scan,
                const std::function<std::string(const Style&)>& text,
                std::span<const GrowthSeries> growth) {
  checkWords(request);
  if (request.pathsOnly)
    return put(request, renderPaths(scan, *request.sections.begin()), REPORT_MODE);
  if (writesTables(request))
    return writeTables(request, scan);
  switch (request.format) {
    case Format::TEXT:
      // What goes to a file is laid out like what goes to a pipe.
      return put(request, text(styleFor(request.output.empty() ? STDOUT_FILENO : -1)), REPORT_MODE);
    case Format::JSON:
      return put(request, renderJson(scan), REPORT_MODE);
    case Format::CSV:
      return put(request, renderCsv(scan, *request.sections.begin()), REPORT_MODE);
    case Format::HTML:
      return put(request, renderPage(scan, {request.top}, growth), REPORT_MODE);
    case Format::PROMETHEUS:
      return putMetrics(request, scan);
  }
}

void exportFailure(const ExportRequest& request, const FailedRun& run) {
  if (request.format != Format::PROMETHEUS || request.output.empty())
    return;
  changeWholeFile(
      request.output, [&](std::string_view before) { return withFailedRun(before, run); },
      METRICS_MODE);
}

}  // namespace orv::ctl
