#include "orvctl/report/AddRun.h"

#include <algorithm>

#include "orvctl/job/LocalJob.h"
#include "orvctl/model/ModelBuilder.h"
#include "orvctl/text/Utf8.h"

namespace orv::ctl {
namespace {

std::vector<std::string> texts(const std::vector<std::string>& paths) {
  std::vector<std::string> result;
  for (const std::string& path : paths)
    result.push_back(utf8Text(path));
  return result;
}

std::vector<NotEntered> passedBy(const std::vector<std::string>& paths, const char* kind) {
  std::vector<NotEntered> result;
  for (const std::string& path : paths)
    result.push_back({utf8Text(path), kind});
  return result;
}

// What lies on another device: a mount by its type, or what stands in no mount table.
std::string kindOf(const NotEntered& directory, const RootFacts& facts) {
  const std::string begin = directory.path + " (";
  for (const std::string& mount : facts.mounts)
    if (const std::string text = utf8Text(mount); text.starts_with(begin))
      return text.substr(begin.size(), text.size() - begin.size() - 1);
  return facts.type == "btrfs" ? "subvolume" : "another device";
}

void addFacts(Root& root, const RootFacts& facts) {
  root.dfUsed = facts.used;
  root.depthCut = facts.cut;
  NotRead notRead = root.notRead.value_or(NotRead{});
  for (NotEntered& directory : notRead.otherMounts)
    directory.kind = kindOf(directory, facts);
  notRead.snapshots = passedBy(facts.snapshots, "snapshot");
  root.notRead = std::move(notRead);
}

}  // namespace

void addRun(Scan& scan, const JobLog& log, const std::optional<RunRecord>& record) {
  if (log.duration() >= 0) {
    scan.run = Run{log.duration(), std::nullopt, texts(log.warnings()),
                   static_cast<std::int64_t>(log.warningCount()), utf8Text(log.path())};
    // The job walks the filesystems in the order in which its result holds them.
    for (std::size_t i = 0; i < scan.roots.size() && i < log.leftOut().size(); ++i) {
      const LeftOut& left = log.leftOut()[i];
      scan.roots[i].notRead = NotRead{left.unreadable,
                                      passedBy(left.otherDevices, "another device"),
                                      {},
                                      left.tooDeep,
                                      left.tooLong};
    }
  }
  if (!record)
    return;
  if (scan.run)
    scan.run->returnCode = record->code;
  for (Root& root : scan.roots) {
    const auto facts = std::ranges::find_if(record->roots, [&root](const RootFacts& candidate) {
      return utf8Text(candidate.path) == root.path;
    });
    if (facts != record->roots.end())
      addFacts(root, *facts);
  }
}

Scan readScan(const std::string& result) {
  Scan scan = buildModel(ResultFile::read(result));
  JobLog log(logOfResult(result));
  log.poll();
  addRun(scan, log, RunRecord::read(recordOfResult(result)));
  return scan;
}

}  // namespace orv::ctl
