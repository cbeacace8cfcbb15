#include "orvctl/job/LocalJob.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <utility>
#include <vector>

#include "Common/JobFile.h"
#include "orvctl/text/CtlError.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/UniqueFd.h"

namespace orv::ctl {
namespace {

namespace fs = std::filesystem;

// The mount table is read line by line into a buffer of 1,025 bytes.
constexpr std::size_t MAX_MOUNT_LINE = 1024;

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

FieldValues filesystemFields(const JobRequest& request) {
  return {{"fsID", std::to_string(filesystemIdOf(request.root))},
          {"fsComputerID", "-1"},
          {"fsScanningCompID", "-1"},
          {"fsType", "-1"},
          {"fsMountPoint", quotedValue(request.root)}};
}

// A monitored directory; `number` tells the directories apart.
FieldValues directoryFields(const std::string& path, std::size_t number) {
  return {
      {"mdsID", std::to_string(number)}, {"mdsComputerID", "0"}, {"mdsPath", quotedValue(path)}};
}

// The name that the report shows: results repeat no clause.
std::string profileNameOf(const JobRequest& request) {
  return request.where.tokens.empty() ? "everything" : "entries where " + request.where.text;
}

// Profile type 1 is gathered on every filesystem of the job, type 3 in every monitored directory,
// too.
FieldValues profileFields(const JobRequest& request) {
  static constexpr std::array<const char*, 7> RANKINGS = {
      "sdLargestDirectories", "sdLargestFiles",  "sdLeastAccessed",   "sdOldestNotBackedUp",
      "sdLargestOrphans",     "sdOldestOrphans", "sdLargestFileTypes"};
  static constexpr std::array<const char*, 8> SWITCHES = {
      "sdSummary",       "sdSizeDistribution", "sdGroupByOwner",    "sdGroupByGroup",
      "sdGroupByAccess", "sdGroupByMod",       "sdGroupByCreation", "sdGroupByBackup"};
  FieldValues fields = {{"sdID", "1"},
                        {"sdCreator", quotedValue("orvctl")},
                        {"sdName", quotedValue(profileNameOf(request))},
                        {"sdType", request.watch.empty() ? "1" : "3"}};
  for (const char* ranking : RANKINGS)
    fields.emplace_back(ranking, std::to_string(request.rankingSize));
  for (const char* name : SWITCHES)
    fields.emplace_back(name, "Y");
  fields.emplace_back("sdWinOnlyFileType", "N");
  fields.emplace_back("sdWhereClause",
                      request.where.tokens.empty() ? "null" : quotedValue(request.where.tokens));
  return fields;
}

// The names of all files of a run begin with this.
std::string baseName(int runNumber) {
  return jobFileName(LocalJob::JOB_NAME, runNumber, LocalJob::SID_RUN_NUMBER, "");
}

// The run number in a file name of orvctl's jobs; 0 for any other file.
int runNumberOf(const std::string& fileName) {
  const std::string prefix = std::string(LocalJob::JOB_NAME) + ".";
  if (!fileName.starts_with(prefix))
    return 0;
  const int number = std::atoi(fileName.c_str() + prefix.size());
  return number > 0 && fileName.starts_with(baseName(number)) ? number : 0;
}

int highestRunNumber(const AgentDirectory& agent) {
  int highest = 0;
  for (const std::string& directory :
       {agent.inputDirectory(), agent.outputDirectory(), agent.logDirectory()}) {
    std::error_code ignored;
    for (const fs::directory_entry& entry : fs::directory_iterator(directory, ignored))
      highest = std::max(highest, runNumberOf(entry.path().filename()));
  }
  return highest;
}

// The scan purges its own job files by their number; the logs go by the same rule.
void purgeLogs(const AgentDirectory& agent, int runNumber) {
  std::error_code ignored;
  std::vector<fs::path> old;
  for (const fs::directory_entry& entry : fs::directory_iterator(agent.logDirectory(), ignored)) {
    const int number = runNumberOf(entry.path().filename());
    if (number > 0 && number <= runNumber - LocalJob::KEPT_RUNS)
      old.push_back(entry.path());
  }
  for (const fs::path& log : old)
    fs::remove(log, ignored);
}

[[noreturn]] void cannotWrite(const std::string& file) {
  throw CtlError(
      fmt::format("cannot write {}: {}", withoutControlCharacters(file), errnoText(errno)));
}

// Creates and writes a file that must not exist yet; false when it does.
bool writeNewFile(const std::string& file, std::string_view text) {
  const UniqueFd fd(::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
  if (!fd && errno == EEXIST)
    return false;
  if (!fd || !writeFully(fd.get(), text)) {
    const int error = errno;
    if (fd)
      ::unlink(file.c_str());
    errno = error;
    cannotWrite(file);
  }
  return true;
}

}  // namespace

LocalJob::LocalJob(const AgentDirectory& agent, const JobRequest& request) {
  const std::string definition = definitionText(request);
  const std::string mountTable = mountTableText(request.root);
  // Creating the definition takes the number: of two that try the same one, one goes on to the
  // next.
  orv::JobFiles names{agent.path, AgentDirectory::SERVER, JOB_NAME, 0, SID_RUN_NUMBER};
  m_runNumber = highestRunNumber(agent);
  do {
    names.jobRunNumber = ++m_runNumber;
    m_definition = names.definitionFile();
  } while (!writeNewFile(m_definition, definition));

  m_mountTable = agent.inputDirectory() + "/" + baseName(m_runNumber) + ".mnttab";
  m_result = names.outputFile();
  m_log = agent.logDirectory() + "/" + baseName(m_runNumber) + ".log";
  ::unlink(m_mountTable.c_str());
  try {
    (void)writeNewFile(m_mountTable, mountTable);
  } catch (const CtlError&) {
    ::unlink(m_definition.c_str());
    throw;
  }
  purgeLogs(agent, m_runNumber);
}

LocalJob::~LocalJob() {
  ::unlink(m_definition.c_str());
  ::unlink(m_mountTable.c_str());
}

std::string logOfResult(const std::string& result) {
  std::error_code ignored;
  const fs::path path = fs::absolute(result, ignored).lexically_normal();
  const fs::path server = path.parent_path();
  if (runNumberOf(path.filename()) == 0 || server.parent_path().filename() != "output")
    return {};
  return server.parent_path().parent_path() / "log" / server.filename() /
         path.filename().replace_extension(".log");
}

std::string definitionText(const JobRequest& request) {
  if (request.root.find('\n') != std::string::npos)
    throw CtlError(
        fmt::format("cannot scan {}: a path with a line break cannot be written into a "
                    "scan definition",
                    withoutControlCharacters(request.root)));
  const FieldValues job = {{"asJobName", quotedValue(LocalJob::JOB_NAME)},
                           {"asScanningCompID", "-1"}};
  const FieldValues filesystem = filesystemFields(request);
  const FieldValues profile = profileFields(request);
  const auto names = &FieldValues::value_type::first;
  const auto values = &FieldValues::value_type::second;
  std::string directories;
  for (std::size_t i = 0; i < request.watch.size(); ++i)
    directories += "[MonDirSpec]\n" + joined(directoryFields(request.watch[i], i + 1), values) +
                   "[/MonDirSpec]\n";
  return "[Header]\n[AgentScan]\n" + joined(job, names) +            //
         "[Filesystem]\n" + joined(filesystem, names) +              //
         "[MonDirSpec]\n" + joined(directoryFields({}, 0), names) +  //
         "[CuStatDef]\n" + joined(profile, names) + "[/Header]\n" +  //
         "[AgentScan]\n" + joined(job, values) +                     //
         "[Filesystem]\n" + joined(filesystem, values) + "[/Filesystem]\n" + directories +
         "[CuStatDef]\n" + joined(profile, values) + "[/CuStatDef]\n" + "[/AgentScan]\n";
}

std::string mountTableText(const std::string& root) {
  const std::string line = fmt::format("orvctl {} orvctl rw 0 0\n", octalEscaped(root));
  if (line.size() > MAX_MOUNT_LINE)
    throw CtlError(fmt::format("cannot scan {}: the path is too long for a mount table entry",
                               withoutControlCharacters(root)));
  return line;
}

std::int32_t filesystemIdOf(const std::string& root) {
  std::uint32_t hash = 2166136261U;  // FNV-1a
  for (const char byte : root)
    hash = (hash ^ static_cast<unsigned char>(byte)) * 16777619U;
  return static_cast<std::int32_t>(hash % 0x7FFFFFFFU) + 1;
}

}  // namespace orv::ctl
