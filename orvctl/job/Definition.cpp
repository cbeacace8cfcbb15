#include "orvctl/job/Definition.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <map>
#include <utility>

#include "orvctl/job/JobRun.h"
#include "orvctl/model/HelpingProfiles.h"
#include "orvctl/text/CtlError.h"
#include "runtime/ut/ScanPaths.h"
#include "runtime/ut/Text.h"

namespace orv::ctl {
namespace {

// The mount table is read line by line into a buffer of 1,025 bytes.
constexpr std::size_t MAX_MOUNT_LINE = 1024;

// From here on the ranking of the largest files, which goes by 32 bits, no longer tells sizes
// apart.
constexpr std::int64_t MISRANKED_FROM = 1LL << 31;
// As many as a ranking can keep.
constexpr int MOST_LARGE_FILES = 32767;

// Bounds of the size classes above the last one of the job (1,024,000 bytes).
constexpr std::array<std::int64_t, 4> LARGE_SIZES = {10LL << 20, 100LL << 20, 1LL << 30,
                                                     10LL << 30};

// The numbers that sdType gives to what a profile covers.
constexpr const char* WATCHED_ONLY = "0";
constexpr const char* EVERY_FILESYSTEM = "1";
constexpr const char* FILESYSTEMS_AND_WATCHED = "3";
constexpr const char* LISTED_FILESYSTEMS = "4";

constexpr std::array<const char*, 7> RANKINGS = {
    "sdLargestDirectories", "sdLargestFiles",  "sdLeastAccessed",   "sdOldestNotBackedUp",
    "sdLargestOrphans",     "sdOldestOrphans", "sdLargestFileTypes"};
constexpr std::array<const char*, 8> SWITCHES = {
    "sdSummary",       "sdSizeDistribution", "sdGroupByOwner",    "sdGroupByGroup",
    "sdGroupByAccess", "sdGroupByMod",       "sdGroupByCreation", "sdGroupByBackup"};

// A text value of a definition line: quoted, inner quotes doubled.
std::string quotedValue(std::string_view value) {
  std::string result = "\"";
  for (const char character : value) {
    result += character;
    if (character == '"')
      result += '"';
  }
  return result + "\"";
}

// A field of a mount table line: what would separate fields or lines is written in octal.
std::string octalEscaped(std::string_view field) {
  std::string result;
  for (const char character : field) {
    if (std::string_view(" \t\n\\").find(character) != std::string_view::npos)
      result += fmt::format("\\{:03o}", static_cast<unsigned char>(character));
    else
      result += character;
  }
  return result;
}

using FieldValues = std::vector<std::pair<std::string, std::string>>;

std::string joined(const FieldValues& fields, std::string FieldValues::value_type::*part) {
  std::string line;
  for (const auto& field : fields)
    line += (line.empty() ? "" : ",") + field.*part;
  return line + "\n";
}

std::string namesOf(const FieldValues& fields) {
  return joined(fields, &FieldValues::value_type::first);
}

std::string valuesOf(const FieldValues& fields) {
  return joined(fields, &FieldValues::value_type::second);
}

// A root with the number that tells it from the others of the job.
struct NumberedRoot {
  std::int32_t id;
  const RootFacts* facts;
};

// In the order of their numbers, in which the job locks them: two jobs that take each other's
// filesystems in one order cannot both hold what the other waits for.
std::vector<NumberedRoot> numbered(const std::vector<RootFacts>& roots) {
  std::map<std::int32_t, const RootFacts*> byId;
  for (const RootFacts& root : roots) {
    std::int32_t id = filesystemIdOf(root.path);
    while (!byId.try_emplace(id, &root).second)
      id = id % 0x7FFFFFFF + 1;
  }
  std::vector<NumberedRoot> result;
  for (const auto& [id, root] : byId)
    result.push_back({id, root});
  return result;
}

FieldValues filesystemFields(std::int32_t id, const std::string& path) {
  return {{"fsID", std::to_string(id)},
          {"fsComputerID", "-1"},
          {"fsScanningCompID", "-1"},
          {"fsType", "-1"},
          {"fsMountPoint", quotedValue(path)}};
}

// A monitored directory; `number` tells the directories apart.
FieldValues directoryFields(const std::string& path, std::size_t number) {
  return {
      {"mdsID", std::to_string(number)}, {"mdsComputerID", "0"}, {"mdsPath", quotedValue(path)}};
}

// Fields of a profile with their values; those that are not given ask for nothing.
class ProfileText final {
 public:
  ProfileText(const std::string& name, const char* type) {
    set("sdName", quotedValue(name));
    set("sdType", type);
  }

  ProfileText& set(const char* field, const std::string& value) {
    m_values[field] = value;
    return *this;
  }
  ProfileText& ask(const char* statistic) { return set(statistic, "Y"); }
  // Which entries count: those that the user's clause and the profile's own admit.
  ProfileText& where(const WhereClause& users, const std::string& own = {}) {
    WhereClause both = users;
    if (!own.empty())
      both = readWhereClause(users.tokens.empty() ? own : "(" + users.text + ")&" + own);
    return set("sdWhereClause", both.tokens.empty() ? "null" : quotedValue(both.tokens));
  }
  ProfileText& list(std::int32_t filesystem) {
    m_filesystems += fmt::format("null,{}\n", filesystem);
    return *this;
  }

  [[nodiscard]] FieldValues fields(std::size_t number) const {
    FieldValues fields = {{"sdID", std::to_string(number)}, {"sdCreator", "\"orvctl\""}};
    const auto add = [&](const char* name, const char* otherwise) {
      const auto found = m_values.find(name);
      fields.emplace_back(name, found == m_values.end() ? otherwise : found->second);
    };
    add("sdName", "null");
    add("sdType", EVERY_FILESYSTEM);
    for (const char* ranking : RANKINGS)
      add(ranking, "0");
    for (const char* name : SWITCHES)
      add(name, "N");
    add("sdWinOnlyFileType", "N");
    add("sdWhereClause", "null");
    return fields;
  }
  [[nodiscard]] std::string filesystems() const {
    return m_filesystems.empty() ? "" : "[ResultsByFS]\n" + m_filesystems + "[/ResultsByFS]\n";
  }

 private:
  std::map<std::string, std::string> m_values;
  std::string m_filesystems;
};

// Everything that a profile can ask for. The name is what the report shows: results repeat no
// clause.
ProfileText mainProfile(const JobRequest& request) {
  ProfileText profile(request.where.tokens.empty()
                          ? "everything"
                          : std::string(SELECTION_NAME) + request.where.text,
                      request.watchedInFull ? FILESYSTEMS_AND_WATCHED : EVERY_FILESYSTEM);
  for (const char* ranking : RANKINGS)
    profile.set(ranking, std::to_string(request.rankingSize));
  for (const char* name : SWITCHES)
    profile.ask(name);
  return std::move(profile.where(request.where));
}

std::string helpingName(Helping kind, std::int64_t number) {
  const auto* found = std::ranges::find(HELPING_NAMES, kind, &HelpingName::kind);
  return std::string(found->name) + (number > 0 ? std::to_string(number) : "");
}

// Owners and groups by what is older than `age`, on the roots whose access times tell it or, by
// last modification, on the others.
ProfileText ageProfile(const JobRequest& request, const Age& age, bool byAccess,
                       const std::vector<NumberedRoot>& roots) {
  const Helping kind = byAccess ? Helping::ACCESSED_OVER : Helping::MODIFIED_OVER;
  ProfileText profile(helpingName(kind, age.seconds), LISTED_FILESYSTEMS);
  profile.ask("sdSummary").ask("sdGroupByOwner").ask("sdGroupByGroup");
  profile.where(request.where, (byAccess ? "accessed>" : "modified>") + age.text);
  for (const NumberedRoot& root : roots)
    if (root.facts->accessTimesKept == byAccess)
      profile.list(root.id);
  return profile;
}

std::vector<ProfileText> profilesOf(const JobRequest& request,
                                    const std::vector<NumberedRoot>& roots) {
  std::vector<ProfileText> profiles = {mainProfile(request)};
  const auto add = [&](Helping kind, std::int64_t number, const char* type) -> ProfileText& {
    return profiles.emplace_back(helpingName(kind, number), type);
  };
  if (!request.watchedInFull)
    add(Helping::SUBTREES, 0, WATCHED_ONLY).ask("sdSummary").where(request.where);
  add(Helping::FILES_FROM, MISRANKED_FROM, EVERY_FILESYSTEM)
      .set("sdLargestFiles", std::to_string(MOST_LARGE_FILES))
      .where(request.where, fmt::format("type=f&size>={}", MISRANKED_FROM));
  for (const std::int64_t size : LARGE_SIZES)
    add(Helping::SIZE_OVER, size, EVERY_FILESYSTEM)
        .ask("sdSizeDistribution")
        .where(request.where, fmt::format("size>{}", size));
  for (const Age& age : request.ages)
    for (const bool byAccess : {true, false})
      if (std::ranges::any_of(roots, [byAccess](const NumberedRoot& root) {
            return root.facts->accessTimesKept == byAccess;
          }))
        profiles.push_back(ageProfile(request, age, byAccess, roots));
  // The largest directory tells of names that the sums leave out, being the only ones of their
  // files here.
  add(Helping::LINKS, 0, EVERY_FILESYSTEM)
      .ask("sdSummary")
      .set("sdLargestDirectories", "1")
      .where(request.where, "type!=d&links>1");
  return profiles;
}

// What is monitored: the patterns of the upper levels, unless watched directories are gathered in
// full, and the watched directories.
std::vector<std::string> directoriesOf(const JobRequest& request) {
  std::vector<std::string> directories;
  for (const RootFacts& root : request.roots) {
    std::string level = withTrailingSlash(root.path) + "*";
    for (int depth = 1; depth <= root.depth && !request.watchedInFull; ++depth, level += "/*")
      directories.push_back(level);
    std::ranges::copy(root.watch, std::back_inserter(directories));
  }
  return directories;
}

void refuseLineBreaks(const JobRequest& request) {
  for (const RootFacts& root : request.roots)
    if (root.path.find('\n') != std::string::npos)
      throw CtlError(
          fmt::format("cannot scan {}: a path with a line break cannot be written into a "
                      "scan definition",
                      withoutControlCharacters(root.path)));
}

// Seconds of an age as a where clause counts them; nothing for what is none.
std::optional<std::int64_t> secondsOf(std::string_view text) {
  static constexpr std::array<std::pair<char, std::int64_t>, 6> UNITS = {
      {{'s', 1}, {'m', 60}, {'h', 3600}, {'d', 86400}, {'w', 604800}, {'y', 31557600}}};
  if (text.empty())
    return std::nullopt;
  const auto* unit = std::ranges::find(UNITS, text.back(), &std::pair<char, std::int64_t>::first);
  const auto number = numberIn<std::int32_t>(text.substr(0, text.size() - 1));
  if (unit == UNITS.end() || !number || *number < 1 || *number > 100'000)
    return std::nullopt;
  return *number * unit->second;
}

}  // namespace

std::vector<Age> parseAges(std::string_view list) {
  constexpr std::size_t MOST = 9;
  std::vector<Age> ages;
  while (!list.empty()) {
    const std::size_t end = std::min(list.find(','), list.size());
    const std::string text(trimmed(list.substr(0, end), " "));
    list.remove_prefix(std::min(end + 1, list.size()));
    const auto seconds = secondsOf(text);
    if (!seconds || ages.size() == MOST)
      throw CtlError(
          fmt::format("cannot use the ages: {}",
                      seconds ? "there are more than nine"
                              : withoutControlCharacters(text) + " is none (as 90d or 1y)"),
          EXIT_USAGE);
    ages.push_back({text, *seconds});
  }
  std::ranges::sort(ages, {}, &Age::seconds);
  return ages;
}

std::string definitionText(const JobRequest& request) {
  refuseLineBreaks(request);
  const std::vector<NumberedRoot> roots = numbered(request.roots);
  const FieldValues job = {{"asJobName", quotedValue("orvctl@" + request.host)},
                           {"asScanningCompID", "-1"}};
  const std::vector<ProfileText> profiles = profilesOf(request, roots);
  std::string text = "[Header]\n[AgentScan]\n" + namesOf(job) +               //
                     "[Filesystem]\n" + namesOf(filesystemFields(0, {})) +    //
                     "[MonDirSpec]\n" + namesOf(directoryFields({}, 0)) +     //
                     "[CuStatDef]\n" + namesOf(profiles.front().fields(1)) +  //
                     "[ResultsByFS]\nrfResults,rfDirOrFS\n[/Header]\n" +      //
                     "[AgentScan]\n" + valuesOf(job);
  for (const NumberedRoot& root : roots)
    text += "[Filesystem]\n" + valuesOf(filesystemFields(root.id, root.facts->path)) +
            "[/Filesystem]\n";
  std::size_t number = 0;
  for (const std::string& path : directoriesOf(request))
    text += "[MonDirSpec]\n" + valuesOf(directoryFields(path, ++number)) + "[/MonDirSpec]\n";
  number = 0;
  for (const ProfileText& profile : profiles)
    text += "[CuStatDef]\n" + valuesOf(profile.fields(++number)) + profile.filesystems() +
            "[/CuStatDef]\n";
  return text + "[/AgentScan]\n";
}

std::string mountTableText(const JobRequest& request) {
  std::string text;
  for (const RootFacts& root : request.roots) {
    const std::string line = fmt::format("orvctl {} orvctl rw 0 0\n", octalEscaped(root.path));
    if (line.size() > MAX_MOUNT_LINE)
      throw CtlError(fmt::format("cannot scan {}: the path is too long for a mount table entry",
                                 withoutControlCharacters(root.path)));
    text += line;
  }
  return text;
}

std::int32_t filesystemIdOf(std::string_view root) {
  std::uint32_t hash = 2166136261U;  // FNV-1a
  for (const char byte : root)
    hash = (hash ^ static_cast<unsigned char>(byte)) * 16777619U;
  return static_cast<std::int32_t>(hash % 0x7FFFFFFFU) + 1;
}

}  // namespace orv::ctl
