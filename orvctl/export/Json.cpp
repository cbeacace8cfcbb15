#include "orvctl/export/Json.h"

#include "orvctl/export/Words.h"

namespace orv::ctl {
namespace {

using Json = nlohmann::ordered_json;

Json timeOf(std::int64_t milliseconds) {
  return orNull(utcTime(milliseconds));
}

Json totalsOf(const std::optional<Totals>& totals) {
  if (!totals)
    return nullptr;
  return {{"files", totals->files},
          {"directories", totals->directories},
          {"others", orNull(totals->others)},
          {"bytes", totals->bytes}};
}

Json entryOf(const Entry& entry) {
  return {{"path", entry.path},
          {"type", wordOf(entry.type)},
          {"owner", entry.owner},
          {"group", entry.group},
          {"orphan", entry.orphan},
          {"bytes", entry.bytes},
          {"disk_bytes", entry.diskBytes},
          {"modified", timeOf(entry.modified)},
          {"accessed", timeOf(entry.accessed)},
          {"links", entry.links},
          {"inode", entry.inode}};
}

Json classOf(const Class& range) {
  return {{"from", orNull(range.from)},
          {"to", orNull(range.to)},
          {"entries", range.entries},
          {"bytes", range.bytes}};
}

Json ageOf(const AgeDistribution& age) {
  return {{"by", wordOf(age.kind)},
          {"average_age_seconds", age.averageAge},
          {"classes", listOf(age.classes, classOf)}};
}

Json accountOf(const Account& account) {
  Json json = {{"id", account.id}, {"name", account.name}};
  json.update(totalsOf(account.totals));
  json["largest_file_bytes"] = account.largestFile;
  json["unused"] = listOf(account.unused, [](const Unused& unused) -> Json {
    return {{"entries", unused.entries}, {"bytes", unused.bytes}};
  });
  return json;
}

Json typeOf(const FileType& type) {
  return {{"extension", type.extension}, {"files", type.files}, {"bytes", type.bytes}};
}

Json directoryOf(const RankedDirectory& directory) {
  Json json = entryOf(directory.entry);
  json["direct"] = {{"files", directory.direct.files},
                    {"directories", directory.direct.directories},
                    {"bytes", directory.direct.bytes}};
  return json;
}

Json rankingOf(const Ranking& ranking) {
  return {{"kind", wordOf(ranking.kind)},
          {"limit", ranking.limit},
          {"misranked", ranking.misranked},
          {"files", listOf(ranking.files, entryOf)}};
}

Json profileJson(const Profile& profile) {
  return jsonOf(profile);
}

Json subtreeOf(const Subtree& subtree) {
  return {{"path", subtree.entry.path},
          {"depth", subtree.depth},
          {"watched", subtree.watched},
          {"owner", subtree.entry.owner},
          {"modified", timeOf(subtree.entry.modified)},
          {"totals", totalsOf(subtree.totals)},
          {"profiles", listOf(subtree.profiles, profileJson)}};
}

Json limitOf(const AgeLimit& limit) {
  return {{"min_age_seconds", limit.seconds},
          {"by", wordOf(limit.kind)},
          {"entries", limit.all.entries},
          {"bytes", limit.all.bytes}};
}

Json capacityOf(const std::optional<Capacity>& capacity) {
  if (!capacity)
    return nullptr;
  return {
      {"bytes", capacity->bytes}, {"used_bytes", capacity->used}, {"free_bytes", capacity->free}};
}

Json passedByOf(const NotEntered& directory) {
  return directory.path + " (" + directory.kind + ")";
}

Json snapshotOf(const NotEntered& directory) {
  return directory.path;
}

Json notReadOf(const std::optional<NotRead>& notRead) {
  if (!notRead)
    return nullptr;
  return {{"unreadable", notRead->unreadable},
          {"other_mounts", listOf(notRead->otherMounts, passedByOf)},
          {"snapshots", listOf(notRead->snapshots, snapshotOf)},
          {"too_deep", notRead->tooDeep},
          {"too_long", notRead->tooLong}};
}

Json rootOf(const Root& root) {
  Json json = factsOf(root);
  json["profiles"] = listOf(root.profiles, profileJson);
  json["subtrees"] = listOf(root.subtrees, subtreeOf);
  return json;
}

}  // namespace

Json jsonOf(const Profile& profile) {
  const Statistics& statistics = profile.statistics;
  return {{"id", profile.id},
          {"name", profile.name},
          {"totals", totalsOf(statistics.totals)},
          {"sizes", listOf(statistics.sizes, classOf)},
          {"ages", listOf(statistics.ages, ageOf)},
          {"owners", listOf(statistics.owners, accountOf)},
          {"groups", listOf(statistics.groups, accountOf)},
          {"file_types", listOf(statistics.types, typeOf)},
          {"largest_directories", listOf(statistics.largestDirectories, directoryOf)},
          {"rankings", listOf(statistics.rankings, rankingOf)}};
}

Json factsOf(const Root& root) {
  return {{"path", root.path},
          {"id", root.id},
          {"type_code", root.typeCode},
          {"scanned", timeOf(root.scanned)},
          {"complete", root.complete},
          {"capacity", capacityOf(root.capacity)},
          {"df_used_bytes", orNull(root.dfUsed)},
          {"inodes", root.inodes},
          {"used_inodes", root.usedInodes},
          {"subtree_depth", root.depth},
          {"subtree_depth_cut", root.depthCut},
          {"not_read", notReadOf(root.notRead)},
          {"age_limits", listOf(root.ages, limitOf)},
          {"names_with_links", totalsOf(root.namesWithLinks)},
          {"not_met", root.notMet}};
}

Json jsonOf(const std::optional<Run>& run) {
  if (!run)
    return nullptr;
  return {{"seconds", orNull(run->seconds)},
          {"return_code", orNull(run->returnCode)},
          {"warning_count", run->warningCount},
          {"warnings", run->warnings},
          {"log", run->log}};
}

Json jsonOf(const Scan& scan) {
  return {{"schema_version", Scan::SCHEMA_VERSION},
          {"version", scan.version},
          {"result", scan.result},
          {"job", scan.job},
          {"host", scan.host.empty() ? Json(nullptr) : Json(scan.host)},
          {"started", timeOf(scan.started)},
          {"run", jsonOf(scan.run)},
          {"totals", totalsOf(scan.totals())},
          {"roots", listOf(scan.roots, rootOf)}};
}

std::string renderJson(const Scan& scan) {
  return jsonOf(scan).dump() + "\n";
}

}  // namespace orv::ctl
