#include "orvctl/export/Metrics.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <set>
#include <span>
#include <utility>

#include "orvctl/export/Words.h"

namespace orv::ctl {
namespace {

struct Metric {
  std::string_view name;
  std::string_view help;
};

constexpr Metric LAST_RUN = {"orvscan_last_run_timestamp_seconds",
                             "When the last scan of the root began."};
constexpr Metric LAST_SUCCESS = {"orvscan_last_success_timestamp_seconds",
                                 "When the last scan that left a result began."};
constexpr Metric DURATION = {"orvscan_last_run_duration_seconds", "How long the last scan took."};
constexpr Metric RETURN_CODE = {"orvscan_last_run_return_code",
                                "Code of the last scan: 0 complete, 4 parts were left out, else "
                                "there is no new result."};

// What a failed run replaces.
constexpr std::array<std::string_view, 3> RUN_METRICS = {LAST_RUN.name, DURATION.name,
                                                         RETURN_CODE.name};

struct Label {
  std::string_view name;
  std::string value;
};
using Labels = std::vector<Label>;

// All samples of one metric must stand together: they are gathered metric by metric.
class Exposition final {
 public:
  // Ends the metric before; one that got no sample is left out.
  void begin(const Metric& metric) {
    m_metric = metric;
    m_begun = false;
  }

  void sample(const Labels& labels, std::string_view value) {
    if (!m_begun)
      m_text += fmt::format("# HELP {0} {1}\n# TYPE {0} gauge\n", m_metric.name, m_metric.help);
    m_begun = true;
    m_text += m_metric.name;
    char separator = '{';
    for (const Label& label : labels) {
      m_text += fmt::format("{}{}=\"{}\"", separator, label.name, escapedLabel(label.value));
      separator = ',';
    }
    m_text += fmt::format("}} {}\n", value);
  }
  void sample(const Labels& labels, std::int64_t value) { sample(labels, std::to_string(value)); }

  [[nodiscard]] std::string take() { return std::move(m_text); }

 private:
  std::string m_text;
  Metric m_metric;
  bool m_begun = false;
};

std::string secondsText(std::int64_t milliseconds) {
  return fmt::format("{:.3f}", static_cast<double>(milliseconds) / 1000);
}

std::string bound(const std::optional<std::int64_t>& value, std::string_view none) {
  return value ? ageWord(*value) : std::string(none);
}

std::string sizeBound(const std::optional<std::int64_t>& value) {
  return value ? std::to_string(*value) : "+Inf";
}

template <typename List>
auto first(const List& list, int top) {
  return std::span(list).first(std::min(list.size(), static_cast<std::size_t>(top)));
}

// Writes the metrics of all roots. Two roots of one path would be the same time series: the first
// one stands.
class Writer final {
 public:
  Writer(const Scan& scan, const MetricsOptions& options) : m_scan(scan), m_top(options.top) {
    std::set<std::string_view> paths;
    for (const Root& root : scan.roots)
      if (paths.insert(root.path).second)
        m_roots.push_back(&root);
  }

  std::string write() {
    totals();
    classes();
    accounts("owner", &Statistics::owners);
    accounts("group", &Statistics::groups);
    directories();
    capacity();
    run();
    return m_out.take();
  }

 private:
  template <typename Write>
  void metric(const Metric& metric, Write write) {
    m_out.begin(metric);
    for (const Root* root : m_roots)
      write(*root, root->main());
  }

  void totals() {
    metric({"orvscan_size_bytes", "Length of all entries below the root."},
           [this](const Root& root, const Statistics& main) {
             if (main.totals)
               m_out.sample({{"root", root.path}}, main.totals->bytes);
           });
    metric({"orvscan_entries", "Entries below the root. Files are regular files and links."},
           [this](const Root& root, const Statistics& main) {
             if (!main.totals)
               return;
             m_out.sample({{"root", root.path}, {"type", "file"}}, main.totals->files);
             m_out.sample({{"root", root.path}, {"type", "directory"}}, main.totals->directories);
             if (main.totals->others)
               m_out.sample({{"root", root.path}, {"type", "other"}}, *main.totals->others);
           });
    metric({"orvscan_unreadable_entries", "Entries that could not be opened, read or examined."},
           [this](const Root& root, const Statistics&) {
             if (root.notRead)
               m_out.sample({{"root", root.path}}, root.notRead->unreadable);
           });
  }

  void ages(const Metric& which, std::int64_t Class::*value) {
    metric(which, [&](const Root& root, const Statistics& main) {
      for (const AgeDistribution& age : main.ages)
        for (const Class& range : age.classes)
          m_out.sample({{"root", root.path},
                        {"by", std::string(wordOf(age.kind))},
                        {"min_age", bound(range.from, "-Inf")},
                        {"max_age", bound(range.to, "+Inf")}},
                       range.*value);
    });
  }

  void sizes(const Metric& which, std::int64_t Class::*value) {
    metric(which, [&](const Root& root, const Statistics& main) {
      for (const Class& range : main.sizes)
        m_out.sample({{"root", root.path},
                      {"min_size", sizeBound(range.from)},
                      {"max_size", sizeBound(range.to)}},
                     range.*value);
    });
  }

  void classes() {
    ages({"orvscan_age_size_bytes", "Length of entries by age, over min_age up to max_age."},
         &Class::bytes);
    ages({"orvscan_age_entries", "Entries by age, over min_age up to max_age."}, &Class::entries);
    sizes({"orvscan_class_size_bytes", "Length of entries of min_size up to max_size bytes."},
          &Class::bytes);
    sizes({"orvscan_class_entries", "Entries of min_size up to max_size bytes."}, &Class::entries);
    metric({"orvscan_unused_size_bytes", "Length of entries older than min_age."},
           [this](const Root& root, const Statistics&) {
             for (const AgeLimit& limit : root.ages)
               m_out.sample(ageLabels({{"root", root.path}}, limit), limit.all.bytes);
           });
  }

  static Labels ageLabels(Labels labels, const AgeLimit& limit) {
    labels.push_back({"by", std::string(wordOf(limit.kind))});
    labels.push_back({"min_age", ageWord(limit.seconds)});
    return labels;
  }

  // The number is a label, too, because two accounts may bear one name.
  void accounts(const std::string& who, std::vector<Account> Statistics::*list) {
    const auto labels = [&who](const Root& root, const Account& account) -> Labels {
      return {{"root", root.path}, {who, account.name}, {"id", std::to_string(account.id)}};
    };
    const std::string size = fmt::format("orvscan_{}_size_bytes", who);
    const std::string sizeHelp = fmt::format("Length of the entries of the largest {}s.", who);
    metric({size, sizeHelp}, [&](const Root& root, const Statistics& main) {
      for (const Account& account : first(main.*list, m_top))
        m_out.sample(labels(root, account), account.totals.bytes);
    });
    const std::string unused = fmt::format("orvscan_{}_unused_size_bytes", who);
    const std::string unusedHelp =
        fmt::format("Length of the entries of the largest {}s that are older than min_age.", who);
    metric({unused, unusedHelp}, [&](const Root& root, const Statistics& main) {
      for (const Account& account : first(main.*list, m_top))
        for (std::size_t i = 0; i < account.unused.size(); ++i)
          m_out.sample(ageLabels(labels(root, account), root.ages[i]), account.unused[i].bytes);
    });
  }

  // Directories lie in one another: sums are to be taken over one depth.
  void directories() {
    metric({"orvscan_directory_size_bytes", "Length of all entries below the largest directories."},
           [this](const Root& root, const Statistics&) {
             for (const Subtree& subtree : first(root.subtrees, m_top))
               if (subtree.totals)
                 m_out.sample({{"root", root.path},
                               {"directory", subtree.entry.path},
                               {"depth", std::to_string(subtree.depth)}},
                              subtree.totals->bytes);
           });
  }

  void capacity() {
    struct Figure {
      Metric metric;
      std::int64_t Capacity::*value;
    };
    static constexpr std::array<Figure, 3> FIGURES = {
        {{{"orvscan_filesystem_size_bytes", "Size of the root's filesystem."}, &Capacity::bytes},
         {{"orvscan_filesystem_used_bytes",
           "Space in the root's filesystem that is used or reserved for the superuser."},
          &Capacity::used},
         {{"orvscan_filesystem_free_bytes", "Space that users can still fill."}, &Capacity::free}}};
    for (const Figure& figure : FIGURES)
      metric(figure.metric, [&](const Root& root, const Statistics&) {
        if (root.capacity)
          m_out.sample({{"root", root.path}}, (*root.capacity).*figure.value);
      });
    inodes({"orvscan_filesystem_inodes", "Inodes of the root's filesystem."}, &Root::inodes);
    inodes({"orvscan_filesystem_used_inodes", "Inodes in use in the root's filesystem."},
           &Root::usedInodes);
  }

  void inodes(const Metric& which, std::int64_t Root::*value) {
    metric(which, [&](const Root& root, const Statistics&) {
      if (root.inodes > 0)
        m_out.sample({{"root", root.path}}, root.*value);
    });
  }

  void run() {
    for (const Metric& which : {LAST_RUN, LAST_SUCCESS})
      metric(which, [this](const Root& root, const Statistics&) {
        m_out.sample({{"root", root.path}}, secondsText(root.scanned));
      });
    const std::optional<Run>& run = m_scan.run;
    metric(DURATION, [&](const Root& root, const Statistics&) {
      if (run && run->seconds)
        m_out.sample({{"root", root.path}}, fmt::format("{:.3f}", *run->seconds));
    });
    metric(RETURN_CODE, [&](const Root& root, const Statistics&) {
      if (run && run->returnCode)
        m_out.sample({{"root", root.path}}, *run->returnCode);
    });
    metric({"orvscan_build_info", "Version of the program that wrote this; always 1."},
           [this](const Root& root, const Statistics&) {
             m_out.sample({{"root", root.path}, {"version", m_scan.version}}, 1);
           });
  }

  const Scan& m_scan;
  int m_top;
  std::vector<const Root*> m_roots;
  Exposition m_out;
};

}  // namespace

std::string renderMetrics(const Scan& scan, const MetricsOptions& options) {
  return Writer(scan, options).write();
}

std::string renderFailedRun(const FailedRun& run) {
  Exposition out;
  const auto add = [&](const Metric& metric, const std::string& value) {
    out.begin(metric);
    for (const std::string& root : run.roots)
      out.sample({{"root", root}}, value);
  };
  add(LAST_RUN, secondsText(run.started));
  add(DURATION, fmt::format("{:.3f}", run.seconds));
  add(RETURN_CODE, std::to_string(run.returnCode));
  return out.take();
}

bool isRunMetric(std::string_view name) {
  return std::ranges::find(RUN_METRICS, name) != RUN_METRICS.end();
}

std::string escapedLabel(std::string_view value) {
  std::string escaped;
  for (const char character : value) {
    if (character == '\\' || character == '"')
      escaped += '\\';
    escaped += character;
  }
  return escaped;
}

}  // namespace orv::ctl
