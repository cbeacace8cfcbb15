#include "Scan/unix/ReadAhead.h"

#include <pthread.h>
#include <sys/resource.h>

#include <algorithm>
#include <charconv>
#include <csignal>
#include <string_view>
#include <system_error>

#include "Scan/unix/DirectoryWindow.h"
#include "Scan/unix/StreamRules.h"
#include "Scan/walk/Scanner.h"
#include "runtime/thrd/StopFlag.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

// Entries that one thread examines at a time.
constexpr std::uint32_t SHARE = 128;
// What a step takes besides its entries, in entries.
constexpr std::uint32_t STEP_COST = 8;
// Helpers that found no room read on when this much is left.
constexpr std::int64_t LOW_WATER = ReadAhead::BUDGET / 4 * 3;
// Descriptors that are left to the walk, to what each helper is just opening, and to the rest of
// the job, so that the walk lacks none for the sake of the helpers.
constexpr std::int64_t RESERVED_DESCRIPTORS = Scanner::MAX_COMPONENTS + ReadAhead::MAX_HELPERS + 56;

int openLimit() noexcept {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0)
    return 0;
  const auto descriptors = static_cast<std::int64_t>(std::min<rlim_t>(limit.rlim_cur, 1U << 20));
  return static_cast<int>(
      std::clamp<std::int64_t>(descriptors - RESERVED_DESCRIPTORS, 0, ReadAhead::MAX_OPEN));
}

// Blocks every signal for a scope: threads made in it take none of the job's.
class AllSignalsBlocked final {
 public:
  AllSignalsBlocked() noexcept {
    sigset_t all;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &m_old);
  }
  ~AllSignalsBlocked() { ::pthread_sigmask(SIG_SETMASK, &m_old, nullptr); }
  AllSignalsBlocked(const AllSignalsBlocked&) = delete;
  AllSignalsBlocked& operator=(const AllSignalsBlocked&) = delete;

 private:
  sigset_t m_old{};
};

}  // namespace

int walkThreads(const char* text) {
  if (text == nullptr)
    return 1;
  const std::string_view asked = text;
  int threads = 0;
  const auto [end, error] = std::from_chars(asked.data(), asked.data() + asked.size(), threads);
  const bool isNumber = end == asked.data() + asked.size() && !asked.empty();
  if (isNumber && error == std::errc::result_out_of_range)
    threads = asked.front() == '-' ? 0 : ReadAhead::MAX_HELPERS + 1;
  else if (!isNumber || error != std::errc())
    threads = 0;
  const int used = threads < 1 ? 1 : std::min(threads, ReadAhead::MAX_HELPERS);
  if (used != threads)
    TRACE(TR_ERROR, "ORV_WALK_THREADS=%s: not a number from 1 to %d, taken as %d", text,
          ReadAhead::MAX_HELPERS, used);
  return used;
}

ReadAhead::ReadAhead(int helpers) : m_helperCount(helpers), m_openLimit(openLimit()) {}

ReadAhead::~ReadAhead() {
  stop();
}

std::unique_ptr<AheadDirectory> ReadAhead::makeRoot(UniqueFd fd) {
  auto root = std::make_unique<AheadDirectory>();
  root->firstStep = std::make_unique<AheadStep>(*root);
  root->firstStep->opened = std::make_shared<const OpenDirectory>(std::move(fd), m_openCount);
  return root;
}

void ReadAhead::start(AheadDirectory& root, AheadRules rules) {
  TRACE_METHOD("ReadAhead::start(...)");
  m_rules = std::move(rules);
  m_isStarted = true;
  m_plan.insert(*root.firstStep, nullptr);
  const AllSignalsBlocked blocked;
  try {
    for (int i = 0; i < m_helperCount; ++i)
      m_helpers.emplace_back([this] { help(); });
  } catch (const std::system_error& error) {
    TRACE(TR_ERROR, "start helper thread %zu of %d: %s", m_helpers.size() + 1, m_helperCount,
          error.what());
  }
  TRACE(TR_GENERAL, "%zu helper threads read ahead of the walk", m_helpers.size());
}

void ReadAhead::stop() noexcept {
  {
    const Lock lock(m_mutex);
    m_quit.store(true, std::memory_order_relaxed);
    m_helpersWake.notify_all();
  }
  for (std::thread& helper : m_helpers)
    helper.join();
  m_helpers.clear();
}

// A helper thread.
void ReadAhead::help() {
  AheadWorker worker(m_rules, m_openCount, m_quit);
  Lock lock(m_mutex);
  while (!m_quit.load(std::memory_order_relaxed) && !agentStop.load(std::memory_order_relaxed)) {
    if (AheadStep* step = firstToTake()) {
      work(*step, worker, lock);
      continue;
    }
    ++m_sleeping;
    m_helpersWake.wait(lock);
    --m_sleeping;
    m_waking = std::max(m_waking - 1, 0);
  }
}

bool ReadAhead::mayRead(const AheadStep& step) const noexcept {
  return m_ahead.load(std::memory_order_relaxed) < BUDGET &&
         (step.opened || m_openCount.load(std::memory_order_relaxed) < m_openLimit);
}

// The first step of the plan that may be worked at; null when there is none. Passes over no more
// steps than there are threads.
AheadStep* ReadAhead::firstToTake() const noexcept {
  for (AheadStep* step = m_plan.front(); step != nullptr; step = step->later) {
    if (step->state == AheadStep::State::UNREAD)
      return mayRead(*step) ? step : nullptr;
    if (step->state == AheadStep::State::EXAMINING && step->claimed < step->count)
      return step;
  }
  return nullptr;
}

// What the consumer does when it needs `step`: no limit holds for that one.
AheadStep* ReadAhead::takeFor(AheadStep& step) const noexcept {
  if (step.state == AheadStep::State::UNREAD ||
      (step.state == AheadStep::State::EXAMINING && step.claimed < step.count))
    return &step;
  return firstToTake();
}

// Called with every piece of work taken and left behind: wakes one thread if there is more.
void ReadAhead::wakeForWork() {
  if ((!m_consumerSleeps && m_sleeping <= m_waking) || firstToTake() == nullptr)
    return;
  if (m_consumerSleeps) {
    m_consumerSleeps = false;
    m_consumerWakes.notify_one();
  } else {
    ++m_waking;
    m_helpersWake.notify_one();
  }
}

// Does one piece of work at a step that was found with the lock, and returns with the lock.
void ReadAhead::work(AheadStep& step, AheadWorker& worker, Lock& lock) {
  if (step.state != AheadStep::State::UNREAD || readStep(step, worker, lock))
    examineShare(step, worker, lock);
}

// Room for what a step may take, before it is read; lets a large directory use a window if that
// still fits.
std::int64_t ReadAhead::reserve(AheadStep& step) noexcept {
  step.mayUseWindow = m_rules.isOnLocalDisk && step.directory.size >= LARGE_DIRECTORY_BYTES &&
                      m_ahead.load(std::memory_order_relaxed) < BUDGET;
  const auto room =
      static_cast<std::int64_t>(step.mayUseWindow ? DirectoryWindow::WINDOW_NAMES : 0);
  m_ahead.fetch_add(room, std::memory_order_relaxed);
  return room;
}

// Reads a step. True when entries remain to be examined; a small directory is done in one go.
bool ReadAhead::readStep(AheadStep& step, AheadWorker& worker, Lock& lock) {
  step.state = AheadStep::State::READING;
  const std::int64_t reserved = reserve(step);
  wakeForWork();
  lock.unlock();
  worker.read(step);
  const bool isWhole = step.next == nullptr && step.count <= SHARE;
  if (isWhole) {
    worker.examine(step, 0, step.count);
    worker.finish(step);
  }
  lock.lock();
  m_ahead.fetch_sub(reserved, std::memory_order_relaxed);
  m_ahead.fetch_add(step.count + STEP_COST, std::memory_order_relaxed);
  if (isWhole) {
    markDone(step);
    return false;
  }
  if (step.next != nullptr && !step.directory.isDiscarded)
    m_plan.insert(*step.next, &step);
  step.state = AheadStep::State::EXAMINING;
  return true;
}

void ReadAhead::examineShare(AheadStep& step, const AheadWorker& worker, Lock& lock) {
  const std::uint32_t begin = step.claimed;
  step.claimed = std::min(begin + SHARE, step.count);
  const std::uint32_t end = step.claimed;
  ++step.examining;
  wakeForWork();
  lock.unlock();
  worker.examine(step, begin, end);
  lock.lock();
  --step.examining;
  if (step.claimed < step.count || step.examining > 0)
    return;
  step.state = AheadStep::State::FINISHING;
  lock.unlock();
  worker.finish(step);
  lock.lock();
  markDone(step);
}

// The last that is done to a step: the consumer may free it from then on.
void ReadAhead::markDone(AheadStep& step) {
  AheadStep* after = &step;
  if (!step.directory.isDiscarded)
    for (const AheadStep::Subdirectory& below : step.subdirectories) {
      m_plan.insert(*below.directory->firstStep, after);
      after = below.directory->firstStep.get();
    }
  m_plan.remove(step);
  step.state = AheadStep::State::DONE;
  if (m_awaited == &step && m_consumerSleeps) {
    m_consumerSleeps = false;
    m_consumerWakes.notify_one();
  }
  step.done.store(true, std::memory_order_release);
}

void ReadAhead::await(AheadStep& step) {
  if (step.isDone())
    return;
  Lock lock(m_mutex);
  m_awaited = &step;
  while (!step.isDone()) {
    if (AheadStep* taken = takeFor(step)) {
      work(*taken, m_consumer, lock);
      continue;
    }
    m_consumerSleeps = true;
    m_consumerWakes.wait(lock);
    m_consumerSleeps = false;
  }
  m_awaited = nullptr;
  wakeForWork();
}

void ReadAhead::giveBack(AheadStep& step, std::uint32_t entries) {
  step.givenBack += entries;
  const std::int64_t before = m_ahead.fetch_sub(entries, std::memory_order_relaxed);
  if (before < LOW_WATER || before - entries >= LOW_WATER)
    return;
  const Lock lock(m_mutex);
  wakeForWork();
}

void ReadAhead::giveBackStep(AheadStep& step) {
  giveBack(step, step.count + STEP_COST - step.givenBack);
}

void ReadAhead::offer(std::unique_ptr<AheadDirectory> directory) {
  if (m_offered) [[unlikely]]
    discard(std::move(m_offered));
  m_offered = std::move(directory);
}

std::unique_ptr<AheadDirectory> ReadAhead::takeOffered() noexcept {
  return std::move(m_offered);
}

void ReadAhead::discard(std::unique_ptr<AheadDirectory> directory) {
  if (!directory)
    return;
  Lock lock(m_mutex);
  while (AheadStep* busy = m_plan.withdraw(*directory)) {
    lock.unlock();
    await(*busy);
    lock.lock();
  }
  lock.unlock();
  giveBackAll(*directory);
}

// Of a directory whose steps are all done or unread.
void ReadAhead::giveBackAll(AheadDirectory& directory) {
  for (AheadStep* step = directory.firstStep.get(); step != nullptr; step = step->next.get()) {
    if (!step->isDone())
      continue;
    giveBackStep(*step);
    for (const AheadStep::Subdirectory& below : step->subdirectories)
      if (below.directory)
        giveBackAll(*below.directory);
  }
}

}  // namespace orv
