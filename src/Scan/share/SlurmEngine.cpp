#include "Scan/share/SlurmEngine.h"

#include <unistd.h>

#include <algorithm>
#include <thread>

#include "Scan/share/SlurmQueue.h"
#include "runtime/nls/MessageLog.h"
#include "runtime/thrd/StopFlag.h"
#include "runtime/ut/Text.h"

namespace orv::share {
namespace {

using namespace std::chrono_literals;

// An array's largest index is bounded by the site; this is what it is unless configured.
constexpr std::size_t MAX_ARRAY = 1000;
// A state may come to be seen here, through the shared filesystem, after its task has left the
// queue.
constexpr auto STATE_DELAY = 10s;
constexpr auto QUESTION_INTERVAL = 1s;
// What a worker must have left of its time to be given one more share, of a minute or less.
constexpr auto LAST_SHARE = 90s;
// For a worker to begin once its task runs: sites have much done before that.
constexpr auto START_LIMIT = 5min;
constexpr auto LOOK_INTERVAL = 20ms;

// Where Slurm puts what the task of an array writes. It replaces "%" and what follows.
std::string logPattern(const WorkDirectory& work) {
  const std::string path = work.log({});
  std::string pattern;
  for (const char byte : path.substr(0, path.rfind('/') + 1))
    pattern += byte == '%' ? std::string("%%") : std::string(1, byte);
  return pattern + "%A_%a" + path.substr(path.rfind('/') + 1);
}

}  // namespace

bool SlurmEngine::Task::hasShare() const noexcept {
  return order.share != 0 && order.share != Order::END;
}

// Whether another share would be cut off by the partition's time limit. The first one is tried all
// the same.
bool SlurmEngine::Task::isTimeShort() const noexcept {
  return order.number > 0 && Clock::now() + LAST_SHARE > limit;
}

bool SlurmEngine::Task::mayBeGiven() const noexcept {
  // Not to one that may be losing its patience right now.
  return isReady && order.share == 0 &&
         Clock::now() < idle + std::chrono::seconds(WORKER_PATIENCE_SECONDS / 2);
}

SlurmEngine::SlurmEngine(const SpreadOptions& options, const WorkDirectory& work,
                         const std::string& run, std::string program)
    : m_options(options), m_work(work), m_jobName("orvscan-" + run), m_program(std::move(program)) {
  if (m_work.path().find('\\') != std::string::npos)
    throw StateError("use work directory " + m_work.path() +
                     ": Slurm writes no logs where a name has a backslash");
  // Workers of an earlier coordinator that cannot be reached to be ended must not be taken for
  // ours.
  if (const auto earlier = m_work.workers(); !earlier.empty())
    m_lastWorker = earlier.back();
}

SlurmEngine::~SlurmEngine() {
  // After a failure, shares may be under way whose states nobody will ever take.
  if (std::ranges::any_of(m_tasks, [](const auto& task) { return task.second.hasShare(); }))
    cancel();
  else
    release();
}

// Ends the workers, which have no share, rather than let them wait in vain.
void SlurmEngine::release() noexcept {
  try {
    if (m_mayWait)
      SlurmCommand({"scancel", "--name=" + m_jobName, "--state=PENDING"}).finish(true);
    for (const auto& [name, task] : m_tasks)
      give(m_work, task.worker, {task.order.number + 1, Order::END});
  } catch (const std::exception&) {
    // They end by themselves a little later.
  }
}

void SlurmEngine::start(const std::vector<std::uint32_t>& shares) {
  m_waiting.insert(m_waiting.end(), shares.begin(), shares.end());
  std::ranges::sort(m_waiting);
  // Workers that are missing are asked for in `wait`, at once for all shares that come till then.
  assign();
}

void SlurmEngine::assign() {
  for (auto& [name, task] : m_tasks) {
    if (m_waiting.empty())
      return;
    if (!task.mayBeGiven())
      continue;
    const bool isLast = task.isTimeShort();
    task.order = {task.order.number + 1, isLast ? Order::END : m_waiting.front()};
    give(m_work, task.worker, task.order);
    if (!isLast)
      m_waiting.erase(m_waiting.begin());
  }
}

// Asks for a worker for each share that waits without one to come. At first for all that the scan
// may have: Slurm starts arrays once a second or less often, and the first share finds work for
// them.
void SlurmEngine::submit() {
  std::size_t coming = 0;
  for (const auto& [name, task] : m_tasks)
    coming += task.isReady ? 0 : 1;
  if (m_waiting.size() <= coming || Clock::now() < m_nextSubmission)
    return;
  const std::size_t wanted =
      m_hasSubmitted ? m_waiting.size() - coming : static_cast<std::size_t>(m_options.tasks);
  const std::string failure = submitSome(std::min(wanted, MAX_ARRAY));
  if (failure.empty()) {
    m_hasSubmitted = true;
    m_isControllerAway = false;
    return;
  }
  // It was ended for that, and whoever waits is about to know.
  if (agentStop.load(std::memory_order_relaxed))
    return;
  // Of what never went, nobody knows that it ever will: a partition that is misspelt, say.
  if (!m_hasSubmitted)
    throw StateError(failure);
  // The controller may be restarting; what runs goes on meanwhile.
  if (!m_isControllerAway)
    issueMessage(msg::STA0566W, {failure, std::to_string(m_waiting.size())});
  m_isControllerAway = true;
  m_nextSubmission = Clock::now() + 5s;
}

// Why it failed; nothing when it did not.
std::string SlurmEngine::submitSome(std::size_t count) {
  const std::uint32_t first = m_lastWorker + 1;
  // There before the worker looks for it: what a network filesystem has once found missing, it may
  // go on to miss.
  for (std::size_t i = 0; i < count; ++i)
    give(m_work, ++m_lastWorker, {});
  std::vector<std::string> words = {"sbatch",
                                    "--parsable",
                                    "--requeue",
                                    "--export=ALL",
                                    formatText("--array=0-%zu", count - 1),
                                    "--job-name=" + m_jobName,
                                    "--chdir=/",
                                    "--output=" + logPattern(m_work),
                                    "--ntasks=1"};
  if (!m_options.partition.empty())
    words.push_back("--partition=" + m_options.partition);
  // In the shell's place, so that Slurm's signals reach the worker itself.
  words.push_back(formatText("--wrap=exec %s -worker %s $((%u + SLURM_ARRAY_TASK_ID))",
                             shellWord(m_program).c_str(), shellWord(m_work.path()).c_str(),
                             first));
  SlurmCommand command(std::move(words));
  m_mayWait = true;
  command.finish();
  if (!command.isDone()) {
    // The controller may have taken the array all the same, and only its answer is missing: without
    // orders its workers end as soon as they begin.
    for (std::size_t i = 0; i < count; ++i)
      ::unlink(m_work.order(first + static_cast<std::uint32_t>(i)).c_str());
    return command.failure();
  }
  // "<job>" or "<job>;<cluster>".
  const std::string job = command.output().substr(0, command.output().find_first_of(";\n"));
  // An answer to what was asked before would not know them.
  m_question.reset();
  for (std::size_t i = 0; i < count; ++i)
    m_tasks[job + "_" + std::to_string(i)].worker = first + static_cast<std::uint32_t>(i);
  return {};
}

std::string SlurmEngine::hindrance() const {
  if (m_waiting.empty())
    return {};
  return formatText("%zu wait for Slurm", m_waiting.size()) +
         (m_hindrance.empty() ? "" : " (" + m_hindrance + ")");
}

std::vector<Engine::Ended> SlurmEngine::wait(std::chrono::milliseconds limit) {
  std::vector<Ended> ended;
  const auto end = Clock::now() + limit;
  do {
    takeReady();
    takeStates(ended);
    assign();
    submit();
    askQueue(ended);
    if (!ended.empty() || agentStop.load(std::memory_order_relaxed))
      break;
    std::this_thread::sleep_for(LOOK_INTERVAL);
  } while (Clock::now() < end);
  return ended;
}

void SlurmEngine::takeReady() {
  const std::vector<std::uint32_t> ready = takeReadyWorkers(m_work);
  for (auto& [name, task] : m_tasks)
    if (!task.isReady && std::ranges::binary_search(ready, task.worker)) {
      task.isReady = true;
      task.idle = Clock::now();
    }
}

void SlurmEngine::takeStates(std::vector<Ended>& ended) {
  const std::vector<std::uint32_t> states = m_work.states();
  for (auto& [name, task] : m_tasks)
    if (task.hasShare() && std::ranges::binary_search(states, task.order.share)) {
      ended.push_back({task.order.share, {}});
      task.order.share = 0;
      task.idle = Clock::now();
    }
}

// Beside the shares: a controller that is away keeps the question for long.
void SlurmEngine::askQueue(std::vector<Ended>& ended) {
  if (!m_question && !m_tasks.empty() && Clock::now() >= m_nextQuestion)
    m_question = std::make_unique<SlurmCommand>(
        std::vector<std::string>{"squeue", "--noheader", "--array", "--name=" + m_jobName,
                                 std::string("--format=") + QueuedTask::FORMAT});
  if (!m_question || !m_question->hasEnded(0))
    return;
  const std::unique_ptr<SlurmCommand> answer = std::move(m_question);
  m_nextQuestion = Clock::now() + QUESTION_INTERVAL;
  // Without an answer nothing is known, so nothing has ended.
  if (answer->isDone())
    judge(answer->output(), ended);
}

void SlurmEngine::judge(const std::string& answer, std::vector<Ended>& ended) {
  const SlurmQueue queue = queueOf(answer);
  const auto waiting = std::ranges::find(
      queue, "PENDING", [](const auto& task) -> const std::string& { return task.second.state; });
  m_hindrance = waiting == queue.end() ? "" : waiting->second.reason;
  std::vector<std::string> lost;
  for (auto at = m_tasks.begin(); at != m_tasks.end();) {
    auto& [name, task] = *at;
    const auto queued = queue.find(name);
    const bool isQueued = queued != queue.end();
    if (isQueued)
      task.limit = queued->second.limit;
    const std::string reason = whyEnded(name, task, isQueued ? &queued->second.state : nullptr);
    if (reason.empty()) {
      ++at;
      continue;
    }
    // A worker that cannot even begin fails for a share that it would have got: else workers would
    // be asked for without end. Not while others can take the share: one node that starts nothing
    // would otherwise use up its attempts.
    if (!task.isReady && !isQueued && !m_waiting.empty() && !isAnyAtWork()) {
      task.order.share = m_waiting.front();
      m_waiting.erase(m_waiting.begin());
    }
    if (task.hasShare())
      ended.push_back({task.order.share, reason});
    if (task.hasShare() || !task.isReady || isQueued)
      lost.push_back(name);
    at = m_tasks.erase(at);
  }
  endTasks(lost);
}

bool SlurmEngine::isAnyAtWork() const {
  return std::ranges::any_of(
      m_tasks, [](const auto& task) { return task.second.hasShare() || task.second.mayBeGiven(); });
}

// Of what is lost Slurm may think otherwise, and would start it again beside the worker that is
// asked for instead.
void SlurmEngine::endTasks(const std::vector<std::string>& names) {
  if (names.empty())
    return;
  std::vector<std::string> words = {"scancel"};
  words.insert(words.end(), names.begin(), names.end());
  SlurmCommand(std::move(words)).finish();
}

// Why the task has ended, of which the queue says that state, or nothing (null); empty while it has
// not.
std::string SlurmEngine::whyEnded(const std::string& name, Task& task, const std::string* state) {
  if (state == nullptr) {
    if (task.missing == Clock::time_point::max())
      task.missing = Clock::now();
    if (task.isReady && !task.hasShare())
      return "task " + name + " had nothing to do any more";
    return Clock::now() < task.missing + STATE_DELAY ? std::string() : endOf(name);
  }
  task.missing = Clock::time_point::max();
  // A task that waits again has lost its node. Slurm would start it after two minutes only, when
  // the node could no longer do so: another worker is asked for instead, on any other node.
  if (*state == "PENDING")
    return task.hasRun ? "task " + name + " lost its node, or was preempted" : std::string();
  if (!task.hasRun)
    task.begun = Clock::now();
  task.hasRun = true;
  // A node may hang before the worker itself is there.
  if (!task.isReady && Clock::now() > task.begun + START_LIMIT)
    return "task " + name + " runs, but its worker has not begun";
  return {};
}

// What the accounting knows of a task that left nothing, where there is one.
std::string SlurmEngine::endOf(const std::string& task) {
  std::string text = "task " + task + " left the queue without a state";
  if (m_hasAccounting) {
    SlurmCommand command({"sacct", "--noheader", "--parsable2", "--allocations",
                          "--format=State,ExitCode,NodeList", "--jobs=" + task});
    command.finish();
    // Not asked again for each of many tasks: one that hangs takes a minute every time.
    m_hasAccounting = command.isDone();
    if (const std::string known = command.output(); m_hasAccounting && !known.empty())
      text += " (" + known.substr(0, known.find('\n')) + ")";
  }
  const std::string words = m_work.lastWords(task);
  if (words.empty())
    return text + ": it left no log; are program and work directory the same on its node?";
  return text + ": " + words;
}

void SlurmEngine::cancel() noexcept {
  try {
    // By the run's name, which also finds what an earlier coordinator of it started.
    SlurmCommand({"scancel", "--name=" + m_jobName}).finish(true);
    m_mayWait = false;
    m_tasks.clear();
    m_waiting.clear();
  } catch (const std::exception&) {
    // Without memory the tasks run to their end; their states are nobody's then.
  }
}

}  // namespace orv::share
