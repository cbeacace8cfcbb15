#include <regex.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "Common/format/GenericPrint.h"
#include "Common/resource.h"
#include "Probe/Mounts.h"
#include "Scan/definition/AgentScan.h"
#include "Scan/definition/DefinitionBuilder.h"
#include "Scan/entry/UserTable.h"
#include "Scan/select/ClauseText.h"
#include "Scan/select/PathPattern.h"
#include "Scan/select/SelectExplain.h"
#include "Scan/select/SelectParser.h"
#include "orvctl/export/Json.h"
#include "orvctl/model/ModelBuilder.h"
#include "orvctl/model/ResultFile.h"
#include "orvctl/report/Report.h"
#include "orvctl/text/CtlError.h"
#include "runtime/ut/ORVException.h"
#include "support/TempDir.h"

// One function per reader of text that others write. Besides not crashing, each keeps a promise
// that holds whatever the text.
namespace orv::fuzz {

std::string file(const char* name) {
  static const test::TempDir dir;
  return dir.file(name);
}

void require(bool holds, const char* what) {
  if (holds)
    return;
  std::fprintf(stderr, "does not hold: %s\n", what);
  std::abort();
}

// A definition is refused, or printed as a result that reads back with everything in it.
void readDefinition(std::string_view text) {
  test::writeFile(file("definition"), text);
  AgentScan job;
  try {
    DefinitionBuilder(file("definition"), job).build();
  } catch (const ORVParserException&) {
    return;
  } catch (const OrvObjectCreationException&) {
    return;
  }
  GenericPrint print(file("result"));
  AgentScan::printHeader(print);
  print.printBegin(AgentScan::ENTITY_NAME);
  job.printData(print);
  print.printEnd(AgentScan::ENTITY_NAME);
  print.close();
  const auto result = ctl::ResultFile::read(file("result"));
  const auto printed =
      std::ranges::count(result.scan().children, Filesystem::ENTITY_NAME, &ctl::Entity::name);
  const FilesystemList* read = job.getFilesystems();
  require(printed == (read == nullptr ? 0 : std::ssize(*read)), "no filesystem is lost");
}

// A clause is refused at a place that it has, or explained, and its negation admits the others.
void readClause(std::string_view typed) {
  const NormalizedClause normalized = normalizeClause(typed);
  const std::string clause = normalized ? normalized.clause : std::string(typed);
  const ParsedClause parsed = SelectParser().parse(clause);
  const ParsedClause negation = SelectParser().parse("!(" + clause + ")");
  const std::size_t at = parsed.error.position;
  require(parsed ? !explain(*parsed.node).empty() : at >= 1 && at <= clause.size() + 1,
          "it is explained, or the error has a place");
  if (!parsed || !negation)
    return;  // there is nothing to negate, or it is nested too deeply for two more
  static const UserOrGroup somebody;
  FileAttributes info;
  info.faOwner = info.faGroup = &somebody;
  for (const std::int64_t number : {-1L, 0L, 1025L, 1718452802L})
    for (const char* name : {"/", "/a/b.txt", "/a b/%/[x]\xff\n"}) {
      info.faType = static_cast<std::uint8_t>(number & 7);
      info.faName = name;
      info.faLength = info.faModified = number;
      require(parsed.node->matches(info, {number}) != negation.node->matches(info, {number}),
              "its negation says the opposite");
    }
}

bool cLibraryMatches(const std::string& expression, const std::string& text) {
  regex_t regex;
  require(::regcomp(&regex, expression.c_str(), REG_NOSUB) == 0, "it is an expression");
  regmatch_t range{0, static_cast<regoff_t>(text.size())};
  const bool matched = ::regexec(&regex, text.c_str(), 1, &range, REG_STARTEND) == 0;
  ::regfree(&regex);
  return matched;
}

// A line with a glob, then what it is laid against, both short because the C library's matcher is
// slow: whatever way of matching was chosen agrees with it about the glob's expression.
void comparePattern(std::string_view input) {
  input = input.substr(0, input.find('\0'));  // no name goes on behind it
  const auto lineEnd = std::min(input.find('\n'), input.size() - 1);
  const std::string text(input.empty() ? input : input.substr(lineEnd + 1));
  if (input.empty() || lineEnd > 48 || text.size() > 48)
    return;
  for (const PatternScope scope : {PatternScope::PATH, PatternScope::NAME}) {
    std::string error;
    const auto pattern = PathPattern::compile(input.substr(0, lineEnd), scope, error);
    require((pattern == nullptr) != error.empty(), "what is refused says why");
    require(!pattern || pattern->matches(text) == cLibraryMatches(pattern->expression(), text),
            "it matches what its expression matches");
  }
}

std::vector<MountEntry> mountEntries(std::string_view table) {
  test::writeFile(file("mtab"), table);
  std::vector<MountEntry> entries;
  Mounts mounts(file("mtab"));
  require(mounts.openMnttab(), "the table opens");
  while (mounts.nextMount())
    entries.push_back(mounts.current());
  return entries;
}

// As the kernel writes a field of the table.
std::string escaped(std::string_view field, std::string_view special) {
  std::string result;
  for (const char c : field) {
    char code[8];
    std::snprintf(code, sizeof code, "\\%03o", static_cast<unsigned>(c));
    result += special.find(c) == std::string_view::npos ? std::string(1, c) : code;
  }
  return result + " ";
}

// An entry of any table reads back from the table that the kernel would have written of it.
void readMountTable(std::string_view table) {
  for (const MountEntry& entry : mountEntries(table)) {
    const std::string line = escaped(entry.source, " \t\n\\#") +
                             escaped(entry.mountPoint, " \t\n\\") + escaped(entry.type, " \t\n\\") +
                             "rw 0 0\n";
    const auto again = mountEntries(line);
    require(line.size() > 1000 ||  // it may not fit into an entry's buffer
                (again.size() == 1 && again[0].source == entry.source &&
                 again[0].mountPoint == entry.mountPoint && again[0].type == entry.type),
            "an entry reads back");
  }
}

// The records of any resource file read back when it is rewritten.
void rewriteResources(std::string_view text) {
  const auto records = parseResourceRecords(text);
  const ResourceFile resources(file("resources"));
  require(resources.replace(records), "the file is replaced");
  const auto again = resources.read();
  require(again && std::ranges::equal(records, *again,
                                      [](const auto& one, const auto& other) {
                                        return one.resource == other.resource &&
                                               one.pid == other.pid;
                                      }),
          "the records read back");
}

// A result is refused with a reason, or reported, and exported as text that is JSON.
void reportResult(std::string_view text) {
  try {
    const ctl::Scan scan = ctl::buildModel(ctl::ResultFile::parse(text, "result"));
    require(!ctl::renderReport(scan, {}).empty(), "there is a report");
    require(nlohmann::json::accept(ctl::renderJson(scan)), "it is JSON");
  } catch (const ctl::CtlError& error) {
    require(*error.what() != '\0', "what is refused says why");
  }
}

struct Reader {
  const char* name;
  void (*read)(std::string_view text);
};

// clang-format off
constexpr Reader READERS[] = {
    {"definition", readDefinition},
    {"clause",     readClause},
    {"pattern",    comparePattern},
    {"mounts",     readMountTable},
    {"resource",   rewriteResources},
    {"result",     reportResult},
};
// clang-format on

const Reader* chosen = nullptr;

}  // namespace orv::fuzz

// The environment says which reader this process fuzzes.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
  const char* name = std::getenv("ORV_READER");
  for (const orv::fuzz::Reader& reader : orv::fuzz::READERS)
    if (name != nullptr && std::string_view(name) == reader.name)
      orv::fuzz::chosen = &reader;
  orv::fuzz::require(orv::fuzz::chosen != nullptr, "ORV_READER names a reader");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  orv::fuzz::chosen->read(std::string_view(reinterpret_cast<const char*>(data), size));
  return 0;
}
