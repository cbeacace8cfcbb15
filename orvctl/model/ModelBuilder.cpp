#include "orvctl/model/ModelBuilder.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>
#include <string_view>
#include <utility>

#include "orvctl/model/HelpingProfiles.h"
#include "orvctl/model/StatisticsReader.h"
#include "orvctl/text/CtlError.h"
#include "orvctl/text/Utf8.h"
#include "runtime/ut/ScanPaths.h"

namespace orv::ctl {
namespace {

// orvctl names its jobs by the host that it ran on.
constexpr std::string_view OWN_JOB = "orvctl@";

// How many levels `path` lies below `root`.
int depthBelow(std::string_view root, std::string_view path) {
  return root == path ? 0 : pathDepth(path) - pathDepth(root);
}

// Gathers one root while the entities of its filesystem go by.
class RootBuilder final {
 public:
  RootBuilder(const ResultFile& result, const Record& filesystem)
      : m_result(result), m_root(rootOf(filesystem)) {}

  void addSpec(const Record& spec) {
    const std::string path = utf8Text(spec.text("mdsPath"));
    m_root.depth = std::max(m_root.depth, maskDepth(path));
    m_specs.emplace(spec.number("mdsID"), path);
  }

  void addProfile(const Record& record, const Entity& entity) {
    for (const Entity& results : entity.children) {
      const Entity* figures = results.child("CuStatResults");
      if (results.name != "ResultsByFS" || figures == nullptr)
        continue;
      if (const Entity* directory = results.child("SMonDir"))
        for (const Record& met : m_result.records(*directory))
          addSubtree(record, met, *figures);
      else
        addOwn(record, *figures);
    }
    // A profile that watches directories names none when it met none.
    const std::int64_t type = record.number("sdType");
    m_watches = m_watches || type == 0 || type == 3;
  }

  [[nodiscard]] Root finish() {
    mergeHelping(m_root, std::move(m_helping));
    for (auto& [path, subtree] : m_subtrees)
      m_root.subtrees.push_back(std::move(subtree));
    std::ranges::stable_sort(m_root.subtrees, std::ranges::greater{}, [](const Subtree& subtree) {
      return subtree.totals ? subtree.totals->bytes : -1;
    });
    for (const auto& [id, path] : m_specs)
      if (m_watches && !m_met.contains(id) && maskDepth(path) == 0)
        m_root.notMet.push_back(path);
    return std::move(m_root);
  }

 private:
  static Root rootOf(const Record& filesystem) {
    Root root;
    root.id = filesystem.number("fsID");
    root.path = utf8Text(withoutTrailingSlash(filesystem.text("fsMountPoint")));
    root.typeCode = static_cast<int>(filesystem.number("fsType"));
    root.scanned = filesystem.number("fsScanTime");
    root.complete = filesystem.text("fsScanned") == "Y";
    root.inodes = filesystem.number("fsMaxFiles");
    root.usedInodes = filesystem.number("fsUsedInodes");
    root.capacity = capacityOf(filesystem, "fs");
    return root;
  }

  // The fields are called alike in a filesystem and in a summary, but for their prefix.
  static std::optional<Capacity> capacityOf(const Record& record, const std::string& prefix) {
    const auto bytes = [&](const char* field) {
      return record.number(prefix + field) * CAPACITY_UNIT;
    };
    const Capacity capacity{bytes("Capacity"), bytes("UsedSpace"), bytes("FreeSpace")};
    return capacity.bytes > 0 ? std::optional(capacity) : std::nullopt;
  }

  void addOwn(const Record& record, const Entity& figures) {
    Statistics statistics = readStatistics(m_result, record, figures);
    if (const Entity* summary = figures.child("SSummary"); summary != nullptr)
      for (const Record& sums : m_result.records(*summary)) {
        if (!m_root.capacity)
          m_root.capacity = capacityOf(sums, "sum");
        if (m_root.scanned == 0)
          m_root.scanned = sums.number("sumScanTime");
      }
    if (auto helping = helpingProfile(record.text("sdName"))) {
      helping->statistics = std::move(statistics);
      m_helping.push_back(std::move(*helping));
    } else {
      m_root.profiles.push_back(
          {record.number("sdID"), utf8Text(record.text("sdName")), std::move(statistics)});
    }
  }

  void addSubtree(const Record& profile, const Record& met, const Entity& figures) {
    const std::string path = utf8Text(withoutTrailingSlash(met.text("faName")));
    const auto [place, fresh] = m_subtrees.try_emplace(path);
    Subtree& subtree = place->second;
    if (fresh) {
      subtree.entry = readEntry(met);
      subtree.entry.path = path;
      subtree.depth = depthBelow(m_root.path, path);
    }
    for (const std::int64_t id : met.list("smDirSpecs")) {
      m_met.insert(id);
      const auto spec = m_specs.find(id);
      subtree.watched = subtree.watched || spec == m_specs.end() || maskDepth(spec->second) == 0;
    }
    if (helpingProfile(profile.text("sdName"))) {
      subtree.totals = readTotals(m_result, figures);
      return;
    }
    Statistics statistics = readStatistics(m_result, profile, figures);
    if (!subtree.totals)
      subtree.totals = statistics.totals;
    subtree.profiles.push_back(
        {profile.number("sdID"), utf8Text(profile.text("sdName")), std::move(statistics)});
  }

  // For a path that is the root and one or more "/*", by which orvctl asks for whole levels, how
  // many these are; 0 for any other.
  [[nodiscard]] int maskDepth(std::string_view path) const {
    int depth = 0;
    for (; path.ends_with("/*"); ++depth)
      path.remove_suffix(2);
    return path == (m_root.path == "/" ? std::string_view() : m_root.path) ? depth : 0;
  }

  const ResultFile& m_result;
  Root m_root;
  std::map<std::int64_t, std::string> m_specs;  // by mdsID
  std::set<std::int64_t> m_met;
  std::map<std::string, Subtree> m_subtrees;  // by path
  std::vector<HelpingProfile> m_helping;
  bool m_watches = false;
};

std::string hostOf(std::string_view job) {
  return job.starts_with(OWN_JOB) ? utf8Text(job.substr(OWN_JOB.size())) : std::string();
}

std::vector<Root> readRoots(const ResultFile& result) {
  std::vector<Root> roots;
  std::optional<RootBuilder> builder;
  const auto finish = [&] {
    if (builder)
      roots.push_back(builder->finish());
    builder.reset();
  };
  for (const Entity& entity : result.scan().children) {
    if (entity.name == "Filesystem")
      finish();
    for (const Record& record : result.records(entity)) {
      if (entity.name == "Filesystem")
        builder.emplace(result, record);
      else if (entity.name == "MonDirSpec" && builder)
        builder->addSpec(record);
      else if (entity.name == "CuStatDef" && builder)
        builder->addProfile(record, entity);
    }
  }
  finish();
  return roots;
}

}  // namespace

Scan buildModel(const ResultFile& result) {
  Scan scan;
  scan.result = utf8Text(result.path());
  scan.digest = result.digest();
  scan.version = ORVSCAN_VERSION;
  for (const Record& record : result.records(result.scan())) {
    scan.job = utf8Text(record.text("asJobName"));
    scan.host = hostOf(record.text("asJobName"));
  }
  scan.roots = readRoots(result);
  for (const Root& root : scan.roots)
    if (scan.started == 0 || (root.scanned != 0 && root.scanned < scan.started))
      scan.started = root.scanned;
  if (std::ranges::all_of(scan.roots, [](const Root& root) {
        return root.profiles.empty() && root.subtrees.empty();
      }))
    throw CtlError(fmt::format("cannot report {}: it holds no statistics", scan.result));
  return scan;
}

}  // namespace orv::ctl
