#include "Scan/share/SlurmEngine.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <sstream>
#include <thread>

#include "runtime/nls/MessageLog.h"
#include "runtime/thrd/StopFlag.h"
#include "runtime/unx/Files.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/UniqueFd.h"

namespace orv::share {
namespace {

using namespace std::chrono_literals;

// An array's largest index is bounded by the site; this is what it is unless configured.
constexpr std::size_t MAX_ARRAY = 1000;
// Seconds that a command of Slurm may take.
constexpr const char* COMMAND_LIMIT = "60";
// A state may come to be seen here, through the shared filesystem, after its task has left the
// queue.
constexpr auto STATE_DELAY = 10s;
constexpr auto QUESTION_INTERVAL = 1s;
constexpr auto LOOK_INTERVAL = 20ms;

// Runs a command without a shell. Its exit code, -1 when it could not be run; `output` is what it
// wrote to standard output.
int runCommand(std::vector<std::string> words, std::string& output) {
  // A controller that hangs must not hold the coordinator.
  words.insert(words.begin(), {"timeout", COMMAND_LIMIT});
  std::vector<char*> arguments;
  for (std::string& word : words)
    arguments.push_back(word.data());
  arguments.push_back(nullptr);
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0)
    return -1;
  const UniqueFd in(ends[0]);
  UniqueFd out(ends[1]);
  const pid_t pid = ::fork();
  if (pid == 0) {
    ::dup2(out.get(), STDOUT_FILENO);
    ::execvp(arguments.front(), arguments.data());
    // As a shell says that there is no such program.
    ::_exit(127);
  }
  // An end that is open here would keep the command's own end from being seen.
  out.reset();
  if (pid < 0)
    return -1;
  char buffer[4096];
  for (;;) {
    const ssize_t got = ::read(in.get(), buffer, sizeof buffer);
    if (got < 0 && errno == EINTR)
      continue;
    if (got <= 0)
      break;
    output.append(buffer, static_cast<std::size_t>(got));
  }
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

SlurmEngine::SlurmEngine(const SpreadOptions& options, const WorkDirectory& work,
                         const std::string& run, std::string program)
    : m_options(options),
      m_work(work),
      m_jobName("orvscan-" + run),
      m_program(std::move(program)) {}

void SlurmEngine::start(const std::vector<std::uint32_t>& shares) {
  m_waiting.insert(m_waiting.end(), shares.begin(), shares.end());
  submit();
}

// As arrays of shares whose numbers follow one another.
void SlurmEngine::submit() {
  if (Clock::now() < m_nextSubmission)
    return;
  std::ranges::sort(m_waiting);
  while (!m_waiting.empty()) {
    std::size_t count = 1;
    while (count < m_waiting.size() && count < MAX_ARRAY &&
           m_waiting[count] == m_waiting.front() + count)
      ++count;
    if (!submitSome(count)) {
      // The controller may be restarting; what runs goes on meanwhile.
      if (!m_controllerIsAway)
        issueMessage(msg::STA0566W, {std::to_string(m_waiting.size())});
      m_controllerIsAway = true;
      m_nextSubmission = Clock::now() + 5s;
      return;
    }
    m_controllerIsAway = false;
  }
}

bool SlurmEngine::submitSome(std::size_t count) {
  const std::uint32_t first = m_waiting.front();
  std::vector<std::string> words = {"sbatch",
                                    "--parsable",
                                    "--requeue",
                                    formatText("--array=0-%zu", count - 1),
                                    "--job-name=" + m_jobName,
                                    "--chdir=/",
                                    "--output=" + m_work.log("%A_%a"),
                                    "--ntasks=1"};
  if (!m_options.partition.empty())
    words.push_back("--partition=" + m_options.partition);
  // In the shell's place, so that Slurm's signals reach the walk itself.
  words.push_back(formatText("--wrap=exec %s -share %s $((%u + SLURM_ARRAY_TASK_ID))",
                             shellWord(m_program).c_str(), shellWord(m_work.path()).c_str(),
                             first));
  std::string output;
  if (runCommand(words, output) != 0)
    return false;
  // "<job>" or "<job>;<cluster>".
  const std::string job = output.substr(0, output.find_first_of(";\n"));
  for (std::size_t i = 0; i < count; ++i)
    m_tasks[job + "_" + std::to_string(i)] = {first + static_cast<std::uint32_t>(i)};
  m_waiting.erase(m_waiting.begin(), m_waiting.begin() + static_cast<std::ptrdiff_t>(count));
  return true;
}

std::vector<Engine::Ended> SlurmEngine::wait(std::chrono::milliseconds limit) {
  std::vector<Ended> ended;
  const auto end = Clock::now() + limit;
  do {
    submit();
    takeStates(ended);
    if (ended.empty() && Clock::now() >= m_nextQuestion)
      askQueue(ended);
    if (!ended.empty() || agentStop.load(std::memory_order_relaxed))
      break;
    std::this_thread::sleep_for(LOOK_INTERVAL);
  } while (Clock::now() < end);
  return ended;
}

void SlurmEngine::takeStates(std::vector<Ended>& ended) {
  for (auto at = m_tasks.begin(); at != m_tasks.end();) {
    const std::string state = m_work.state(at->second.share);
    // Opened and not looked for: on a network filesystem that asks the server.
    if (!openRegularFile(state)) {
      ++at;
      continue;
    }
    ended.push_back({at->second.share, {}});
    at = m_tasks.erase(at);
  }
}

void SlurmEngine::askQueue(std::vector<Ended>& ended) {
  m_nextQuestion = Clock::now() + QUESTION_INTERVAL;
  std::string output;
  // Without an answer nothing is known, so nothing has ended.
  if (m_tasks.empty() ||
      runCommand({"squeue", "--noheader", "--array", "--name=" + m_jobName, "--format=%F_%K %T"},
                 output) != 0)
    return;
  std::map<std::string, std::string> queue;  // states by task
  std::istringstream lines(output);
  for (std::string task, state; lines >> task >> state;)
    queue[task] = state;
  for (auto at = m_tasks.begin(); at != m_tasks.end();) {
    const auto queued = queue.find(at->first);
    const std::string reason = queued == queue.end()
                                   ? lookForMissing(at->first, at->second)
                                   : lookAt(at->first, queued->second, at->second);
    if (reason.empty()) {
      ++at;
      continue;
    }
    ended.push_back({at->second.share, reason});
    at = m_tasks.erase(at);
  }
}

// A task that waits again has lost its node. Slurm would start it after two minutes only, when the
// node could no longer do so: it is offered anew instead, for any other node.
std::string SlurmEngine::lookAt(const std::string& name, const std::string& state, Task& task) {
  task.missing = Clock::time_point::max();
  if (state != "PENDING") {
    task.hasRun = true;
    return {};
  }
  if (!task.hasRun)
    return {};
  std::string ignored;
  (void)runCommand({"scancel", name}, ignored);
  return "task " + name + " lost its node, or was preempted";
}

std::string SlurmEngine::lookForMissing(const std::string& name, Task& task) const {
  if (task.missing == Clock::time_point::max())
    task.missing = Clock::now();
  return Clock::now() < task.missing + STATE_DELAY ? std::string() : endOf(name);
}

// What the accounting knows of a task that left nothing, where there is one.
std::string SlurmEngine::endOf(const std::string& task) const {
  std::string output;
  std::string text = "task " + task + " left the queue without a state";
  if (runCommand({"sh", "-c",
                  "sacct --noheader --parsable2 --allocations --format=State,ExitCode,NodeList "
                  "--jobs=" +
                      shellWord(task) + " 2>/dev/null"},
                 output) == 0 &&
      !output.empty())
    text += " (" + output.substr(0, output.find('\n')) + ")";
  const std::string words = m_work.lastWords(task);
  return words.empty() ? text : text + ": " + words;
}

void SlurmEngine::cancel() noexcept {
  try {
    std::string ignored;
    // By the run's name, which also finds what an earlier coordinator of it started.
    (void)runCommand({"scancel", "--name=" + m_jobName}, ignored);
    m_tasks.clear();
    m_waiting.clear();
  } catch (const std::exception&) {
    // Without memory the tasks run to their end; their states are nobody's then.
  }
}

}  // namespace orv::share
