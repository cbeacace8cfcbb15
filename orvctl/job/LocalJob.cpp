#include "orvctl/job/LocalJob.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string_view>
#include <vector>

#include "Common/JobFile.h"
#include "orvctl/job/JobRun.h"
#include "orvctl/text/CtlError.h"
#include "runtime/unx/AtomicFile.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/UniqueFd.h"

namespace orv::ctl {
namespace {

namespace fs = std::filesystem;

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

// Whether a run has ended or was killed, by what it left. A run that tells nothing of itself is
// left alone.
bool isOver(const AgentDirectory& agent, int runNumber) {
  const std::string base = agent.outputDirectory() + "/" + baseName(runNumber);
  const JobRun run{AgentDirectory::SERVER, LocalJob::JOB_NAME, runNumber, LocalJob::SID_RUN_NUMBER};
  const JobInfo info =
      parseJobInfo(readWholeFile(base + std::string(JOB_INFO_ENDING)).value_or(""));
  if (info.pid && isRunningScan(*info.pid, run))
    return false;
  const auto record = RunRecord::read(base + RECORD_ENDING);
  return record ? !processExists(record->pid) : info.pid.has_value();
}

// The scan purges its own job files by their number; logs and records go by the same rule.
void purgeOld(const AgentDirectory& agent, int runNumber) {
  std::error_code ignored;
  std::vector<fs::path> old;
  const auto collect = [&](const std::string& directory, std::string_view ending) {
    for (const fs::directory_entry& entry : fs::directory_iterator(directory, ignored)) {
      const int number = runNumberOf(entry.path().filename());
      if (number > 0 && number <= runNumber - LocalJob::KEPT_RUNS &&
          entry.path().extension() == ending)
        old.push_back(entry.path());
    }
  };
  collect(agent.logDirectory(), ".log");
  collect(agent.outputDirectory(), RECORD_ENDING);
  for (const fs::path& file : old)
    fs::remove(file, ignored);
}

// The agent's stand-in appends a line per run, whoever started it, and never shortens its log.
void boundNotifications(const AgentDirectory& agent) {
  constexpr std::size_t MOST = 1 << 20;
  const std::string file = agent.path + "/log/notify.log";
  const std::string text = readWholeFile(file).value_or("");
  if (text.size() <= MOST)
    return;
  const std::size_t cut = text.find('\n', text.size() - MOST / 2);
  // A failure leaves the log as it is; the next run tries again.
  if (cut != std::string::npos)
    (void)replaceFile(file, fmt::format("{}.{}", file, ::getpid()),
                      std::string_view(text).substr(cut + 1));
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

void removeLeftovers(const AgentDirectory& agent) {
  std::error_code ignored;
  std::vector<fs::path> left;
  for (const fs::directory_entry& entry : fs::directory_iterator(agent.inputDirectory(), ignored))
    if (runNumberOf(entry.path().filename()) > 0)
      left.push_back(entry.path());
  for (const fs::directory_entry& entry : fs::directory_iterator(agent.outputDirectory(), ignored))
    if (runNumberOf(entry.path().filename()) > 0 && entry.path().extension() == ".part")
      left.push_back(entry.path());
  for (const fs::path& file : left)
    if (isOver(agent, runNumberOf(file.filename())))
      fs::remove(file, ignored);
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

LocalJob::LocalJob(const AgentDirectory& agent, const JobRequest& request)
    : LocalJob(agent,
               RunRecord{.host = request.host, .roots = request.roots, .where = request.where.text},
               definitionText(request), mountTableText(request)) {}

LocalJob::LocalJob(const AgentDirectory& agent, RunRecord record, const std::string& definition,
                   const std::string& mountTable)
    : m_record(std::move(record)) {
  m_record.pid = ::getpid();
  m_record.started = std::time(nullptr);
  removeLeftovers(agent);
  boundNotifications(agent);
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
    m_record.write(recordOfResult(m_result));
    (void)writeNewFile(m_mountTable, mountTable);
  } catch (const CtlError&) {
    ::unlink(m_definition.c_str());
    throw;
  }
  purgeOld(agent, m_runNumber);
}

void LocalJob::ended(int code, std::optional<std::int64_t> entries,
                     std::optional<std::int64_t> bytes) {
  m_record.ended = std::time(nullptr);
  m_record.code = code;
  m_record.entries = entries;
  m_record.bytes = bytes;
  m_record.write(recordOfResult(m_result));
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

}  // namespace orv::ctl
