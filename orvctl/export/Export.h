#pragma once

#include <functional>
#include <set>
#include <span>
#include <string>

#include "orvctl/export/Metrics.h"
#include "orvctl/model/Model.h"
#include "orvctl/model/Sections.h"
#include "orvctl/text/Style.h"

// Where a scan goes in which form.
namespace orv::ctl {

enum class Format { TEXT, JSON, CSV, HTML, PROMETHEUS };

struct ExportRequest {
  Format format = Format::TEXT;
  std::string output;  // a file, for several CSV tables a directory; empty for standard output
  std::set<Section> sections;  // of TEXT and CSV; empty for all
  bool pathsOnly = false;      // of one section, ended by NUL bytes
  int top = 20;                // entries of every list on the page, time series in the metrics
};

// Refuses a request that contradicts itself, or whose output cannot be written, before a long scan
// is begun for it. Throws CtlError.
void checkRequest(const ExportRequest& request);

// Writes the scan as requested; `text` renders the terminal report. `growth` is for the page.
// Throws CtlError; files are then as they were, each of several tables by itself.
void exportScan(const ExportRequest& request, const Scan& scan,
                const std::function<std::string(const Style&)>& text,
                std::span<const GrowthSeries> growth);

// Notes in the metrics file of a request that a run left no result; does nothing for other formats
// and without a file.
void exportFailure(const ExportRequest& request, const FailedRun& run);

}  // namespace orv::ctl
