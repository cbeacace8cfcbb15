#include "orvctl/export/MetricsFile.h"

#include <algorithm>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <vector>

namespace orv::ctl {
namespace {

// What tells time series of one scan from those of another. The root is written as in a label.
struct Series {
  std::string_view metric;
  std::string_view root;
};

// Nothing for a line that is no sample of renderMetrics, in which the root is the first label.
std::optional<Series> seriesOf(std::string_view line) {
  constexpr std::string_view OPEN = "{root=\"";
  const std::size_t brace = std::min(line.find('{'), line.size());
  if (!line.starts_with("orvscan_") || !line.substr(brace).starts_with(OPEN))
    return std::nullopt;
  const std::string_view rest = line.substr(brace + OPEN.size());
  std::size_t end = 0;
  while (end < rest.size() && rest[end] != '"')
    end += rest[end] == '\\' ? 2 : 1;
  if (end >= rest.size())
    return std::nullopt;
  return Series{line.substr(0, brace), rest.substr(0, end)};
}

// The metric that a line of help or type is about; empty for any other line.
std::string_view headedMetric(std::string_view line) {
  if (!line.starts_with("# HELP ") && !line.starts_with("# TYPE "))
    return {};
  line.remove_prefix(line.find(' ', 2) + 1);
  return line.substr(0, line.find(' '));
}

// Texts put together metric by metric, because all samples of one must stand together.
class Metrics final {
 public:
  using Keep = std::function<bool(const Series&)>;

  // Adds the samples that `keep` wants. Help and type of a metric are those of the first text.
  void add(std::string_view text, const Keep& keep) {
    ++m_texts;
    while (!text.empty()) {
      const std::size_t end = std::min(text.find('\n'), text.size());
      addLine(text.substr(0, end), keep);
      text.remove_prefix(std::min(end + 1, text.size()));
    }
  }

  [[nodiscard]] std::string text() const {
    std::string all;
    for (const Metric& metric : m_metrics)
      if (!metric.samples.empty())
        all += metric.header + metric.samples;
    return all;
  }

 private:
  struct Metric {
    int text;  // that named it first
    std::string header;
    std::string samples;
  };

  void addLine(std::string_view line, const Keep& keep) {
    if (const std::string_view headed = headedMetric(line); !headed.empty()) {
      Metric& metric = called(headed);
      if (metric.text == m_texts)
        metric.header.append(line).push_back('\n');
    } else if (const auto series = seriesOf(line); series && keep(*series)) {
      called(series->metric).samples.append(line).push_back('\n');
    }
  }

  Metric& called(std::string_view name) {
    const auto [place, fresh] = m_places.try_emplace(std::string(name), m_metrics.size());
    if (fresh)
      m_metrics.push_back({m_texts, {}, {}});
    return m_metrics[place->second];
  }

  int m_texts = 0;
  std::vector<Metric> m_metrics;
  std::map<std::string, std::size_t, std::less<>> m_places;
};

using Roots = std::set<std::string, std::less<>>;

std::string merged(std::string_view before, std::string_view fresh, const Metrics::Keep& keep) {
  Metrics metrics;
  metrics.add(fresh, [](const Series&) { return true; });
  metrics.add(before, keep);
  return metrics.text();
}

}  // namespace

std::string withScan(std::string_view before, const Scan& scan, const MetricsOptions& options) {
  Roots roots;
  for (const Root& root : scan.roots)
    roots.insert(escapedLabel(root.path));
  return merged(before, renderMetrics(scan, options),
                [&](const Series& series) { return !roots.contains(series.root); });
}

std::string withFailedRun(std::string_view before, const FailedRun& run) {
  Roots roots;
  for (const std::string& root : run.roots)
    roots.insert(escapedLabel(root));
  return merged(before, renderFailedRun(run), [&](const Series& series) {
    return !roots.contains(series.root) || !isRunMetric(series.metric);
  });
}

}  // namespace orv::ctl
