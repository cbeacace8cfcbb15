#include "orvctl/export/Csv.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <optional>

#include "orvctl/export/CsvTable.h"
#include "orvctl/export/Words.h"
#include "orvctl/text/CtlError.h"
#include "orvctl/text/Utf8.h"

namespace orv::ctl {
namespace {

// Every statistic of a scan with what it is about: a root, or a directory in it.
struct Subject {
  const Scan& scan;
  const Root& root;
  std::string directory;  // empty for the whole root
  const Profile& profile;
};

void forEachSubject(const Scan& scan, const std::function<void(const Subject&)>& visit) {
  for (const Root& root : scan.roots) {
    for (const Profile& profile : root.profiles)
      visit({scan, root, {}, profile});
    for (const Subtree& subtree : root.subtrees)
      for (const Profile& profile : subtree.profiles)
        visit({scan, root, subtree.entry.path, profile});
  }
}

// A table with one row per item of a statistic, which `add` writes behind the subject.
template <typename Add>
std::string subjectTable(const Scan& scan, std::string_view columns, Add add) {
  CsvTable table(fmt::format("host,root,directory,profile,{}", columns));
  forEachSubject(scan, [&](const Subject& subject) {
    add(subject.profile.statistics, [&](const auto&... values) {
      table.row(subject.scan.host, subject.root.path, subject.directory, subject.profile.name,
                values...);
    });
  });
  return table.take();
}

template <typename Value, typename Object>
std::optional<Value> member(const std::optional<Object>& object, Value Object::*field) {
  return object ? std::optional((*object).*field) : std::nullopt;
}

std::string summaryTable(const Scan& scan) {
  CsvTable table(
      "host,root,job,scanned,complete,files,directories,others,bytes,capacity_bytes,used_bytes,"
      "free_bytes,df_used_bytes,inodes,used_inodes,unreadable,names_with_links,seconds,return_"
      "code");
  for (const Root& root : scan.roots) {
    const std::optional<Totals>& totals = root.main().totals;
    const std::optional<Run>& run = scan.run;
    table.row(scan.host, root.path, scan.job, utcTime(root.scanned), root.complete,
              member(totals, &Totals::files), member(totals, &Totals::directories),
              totals ? totals->others : std::nullopt, member(totals, &Totals::bytes),
              member(root.capacity, &Capacity::bytes), member(root.capacity, &Capacity::used),
              member(root.capacity, &Capacity::free), root.dfUsed, root.inodes, root.usedInodes,
              member(root.notRead, &NotRead::unreadable),
              root.namesWithLinks ? std::optional(root.namesWithLinks->entries()) : std::nullopt,
              run ? run->seconds : std::nullopt, run ? run->returnCode : std::nullopt);
  }
  return table.take();
}

std::string subtreeTable(const Scan& scan, bool watchedOnly) {
  CsvTable table("host,root,path,depth,watched,owner,modified,files,directories,others,bytes");
  for (const Root& root : scan.roots)
    for (const Subtree& subtree : root.subtrees)
      if (subtree.watched || !watchedOnly)
        table.row(scan.host, root.path, subtree.entry.path, subtree.depth, subtree.watched,
                  subtree.entry.owner, utcTime(subtree.entry.modified),
                  member(subtree.totals, &Totals::files),
                  member(subtree.totals, &Totals::directories),
                  subtree.totals ? subtree.totals->others : std::nullopt,
                  member(subtree.totals, &Totals::bytes));
  return table.take();
}

using Kinds = std::vector<RankingKind>;

std::string fileTable(const Scan& scan, const Kinds& kinds) {
  return subjectTable(scan,
                      "ranking,rank,path,type,owner,group,orphan,bytes,disk_bytes,modified,"
                      "accessed,links,inode",
                      [&kinds](const Statistics& statistics, const auto& row) {
                        for (const RankingKind kind : kinds)
                          if (const Ranking* ranking = statistics.ranking(kind))
                            for (std::size_t i = 0; i < ranking->files.size(); ++i) {
                              const Entry& file = ranking->files[i];
                              row(wordOf(kind), i + 1, file.path, wordOf(file.type), file.owner,
                                  file.group, file.orphan, file.bytes, file.diskBytes,
                                  utcTime(file.modified), utcTime(file.accessed), file.links,
                                  file.inode);
                            }
                      });
}

std::string sizeTable(const Scan& scan) {
  return subjectTable(scan, "from_bytes,to_bytes,entries,bytes",
                      [](const Statistics& statistics, const auto& row) {
                        for (const Class& range : statistics.sizes)
                          row(range.from, range.to, range.entries, range.bytes);
                      });
}

std::string ageTable(const Scan& scan) {
  return subjectTable(scan, "by,min_age_seconds,max_age_seconds,entries,bytes",
                      [](const Statistics& statistics, const auto& row) {
                        for (const AgeDistribution& age : statistics.ages)
                          for (const Class& range : age.classes)
                            row(wordOf(age.kind), range.from, range.to, range.entries, range.bytes);
                      });
}

std::string accountTable(const Scan& scan, std::vector<Account> Statistics::*list) {
  return subjectTable(scan, "id,name,files,directories,others,bytes,largest_file_bytes",
                      [list](const Statistics& statistics, const auto& row) {
                        for (const Account& account : statistics.*list)
                          row(account.id, account.name, account.totals.files,
                              account.totals.directories, account.totals.others,
                              account.totals.bytes, account.largestFile);
                      });
}

std::string oldTable(const Scan& scan) {
  CsvTable table("host,root,of,id,name,by,min_age_seconds,entries,bytes");
  const auto add = [&](const Root& root, const AgeLimit& limit, const char* of, const auto& id,
                       const std::string& name, const Unused& unused) {
    table.row(scan.host, root.path, of, id, name, wordOf(limit.kind), limit.seconds, unused.entries,
              unused.bytes);
  };
  for (const Root& root : scan.roots)
    for (std::size_t i = 0; i < root.ages.size(); ++i) {
      const AgeLimit& limit = root.ages[i];
      add(root, limit, "all", "", "", limit.all);
      for (const Account& owner : root.main().owners)
        add(root, limit, "owner", owner.id, owner.name, owner.unused[i]);
      for (const Account& group : root.main().groups)
        add(root, limit, "group", group.id, group.name, group.unused[i]);
    }
  return table.take();
}

std::string typeTable(const Scan& scan) {
  return subjectTable(scan, "extension,files,bytes",
                      [](const Statistics& statistics, const auto& row) {
                        for (const FileType& type : statistics.types)
                          row(type.extension, type.files, type.bytes);
                      });
}

std::string directTable(const Scan& scan) {
  return subjectTable(scan, "rank,path,owner,files,directories,bytes",
                      [](const Statistics& statistics, const auto& row) {
                        for (std::size_t i = 0; i < statistics.largestDirectories.size(); ++i) {
                          const RankedDirectory& directory = statistics.largestDirectories[i];
                          row(i + 1, directory.entry.path, directory.entry.owner,
                              directory.direct.files, directory.direct.directories,
                              directory.direct.bytes);
                        }
                      });
}

std::string warningTable(const Scan& scan) {
  CsvTable table("host,warning");
  if (scan.run)
    for (const std::string& warning : scan.run->warnings)
      table.row(scan.host, warning);
  return table.take();
}

// ---- The paths of a table

using Paths = std::vector<std::string>;

Paths subtreePaths(const Scan& scan, bool watchedOnly) {
  Paths paths;
  for (const Root& root : scan.roots)
    for (const Subtree& subtree : root.subtrees)
      if (subtree.watched || !watchedOnly)
        paths.push_back(subtree.entry.path);
  return paths;
}

Paths filePaths(const Scan& scan, const Kinds& kinds) {
  Paths paths;
  forEachSubject(scan, [&](const Subject& subject) {
    for (const RankingKind kind : kinds)
      if (const Ranking* ranking = subject.profile.statistics.ranking(kind))
        for (const Entry& file : ranking->files)
          paths.push_back(file.path);
  });
  return paths;
}

Paths directPaths(const Scan& scan) {
  Paths paths;
  forEachSubject(scan, [&](const Subject& subject) {
    for (const RankedDirectory& directory : subject.profile.statistics.largestDirectories)
      paths.push_back(directory.entry.path);
  });
  return paths;
}

// What a section is as a table, and as a list of paths.
struct Form {
  Section section;
  std::function<std::string(const Scan&)> table;
  std::function<Paths(const Scan&)> paths;  // empty for a table without
};

const std::vector<Form>& forms() {
  static const Kinds LARGEST = {RankingKind::LARGEST_FILES};
  static const Kinds UNUSED = {RankingKind::LEAST_ACCESSED, RankingKind::OLDEST_NOT_BACKED_UP};
  static const Kinds ORPHANS = {RankingKind::LARGEST_ORPHANS, RankingKind::OLDEST_ORPHANS};
  // A table, or list, of what the argument says.
  const auto of = [](auto make, auto argument) {
    return [=](const Scan& scan) { return make(scan, argument); };
  };
  // clang-format off
  static const std::vector<Form> FORMS = {
      {Section::SUMMARY,      summaryTable,                          {}},
      {Section::DIRECTORIES,  of(subtreeTable, false),               of(subtreePaths, false)},
      {Section::WATCHED_LIST, of(subtreeTable, true),                of(subtreePaths, true)},
      {Section::FILES,        of(fileTable, LARGEST),                of(filePaths, LARGEST)},
      {Section::SIZES,        sizeTable,                             {}},
      {Section::OLD,          oldTable,                              {}},
      {Section::AGES,         ageTable,                              {}},
      {Section::OWNERS,       of(accountTable, &Statistics::owners), {}},
      {Section::GROUPS,       of(accountTable, &Statistics::groups), {}},
      {Section::UNUSED,       of(fileTable, UNUSED),                 of(filePaths, UNUSED)},
      {Section::ORPHANS,      of(fileTable, ORPHANS),                of(filePaths, ORPHANS)},
      {Section::TYPES,        typeTable,                             {}},
      {Section::DIRECT,       directTable,                           directPaths},
      {Section::WARNINGS,     warningTable,                          {}},
  };
  // clang-format on
  return FORMS;
}

const Form* formOf(Section section) {
  const auto found = std::ranges::find(forms(), section, &Form::section);
  return found == forms().end() ? nullptr : &*found;
}

[[noreturn]] void hasNone(Section section, const char* what) {
  const auto* name = std::ranges::find(SECTIONS, section, &SectionName::section);
  throw CtlError(fmt::format("the section {} has no {}", name->name, what), EXIT_USAGE);
}

}  // namespace

std::vector<SectionName> csvTables() {
  std::vector<SectionName> tables;
  std::ranges::copy_if(SECTIONS, std::back_inserter(tables),
                       [](const SectionName& name) { return formOf(name.section) != nullptr; });
  return tables;
}

std::string renderCsv(const Scan& scan, Section section) {
  const Form* form = formOf(section);
  if (form == nullptr)
    hasNone(section, "table of its own; the column \"directory\" of the others tells");
  return form->table(scan);
}

std::string renderPaths(const Scan& scan, Section section) {
  const Form* form = formOf(section);
  if (form == nullptr || !form->paths)
    hasNone(section, "paths to list");
  std::string out;
  for (const std::string& path : form->paths(scan))
    out.append(bytesOf(path)).push_back('\0');
  return out;
}

}  // namespace orv::ctl
