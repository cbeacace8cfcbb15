#include "Scan/unix/ThreadAhead.h"

#include <fcntl.h>
#include <sys/resource.h>

#include <algorithm>
#include <system_error>

#include "Common/unix/pssignal.h"
#include "Scan/unix/DirectoryStream.h"
#include "runtime/thrd/StopFlag.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

// Entries that one thread examines at a time.
// Few enough that the last share of a step does not hold the walk up for long, many enough that
// taking the lock for one costs nothing beside its calls.
constexpr std::uint32_t SHARE = 128;
// Helpers that found no room read on when this much is left.
constexpr std::int64_t LOW_WATER = ReadAhead::BUDGET / 4 * 3;
// Descriptors that are left to the walk, to what each helper is just opening, and to the rest of
// the job, so that the walk lacks none for the sake of the helpers.
constexpr std::int64_t RESERVED_DESCRIPTORS = EntryRules::MAX_LEVELS + ReadAhead::MAX_HELPERS + 56;

int openLimit() noexcept {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0)
    return 0;
  const auto descriptors = static_cast<std::int64_t>(std::min<rlim_t>(limit.rlim_cur, 1U << 20));
  return static_cast<int>(
      std::clamp<std::int64_t>(descriptors - RESERVED_DESCRIPTORS, 0, ThreadAhead::MAX_OPEN));
}

}  // namespace

ThreadAhead::ThreadAhead(int helpers, Membership membership, AheadWorker::Opener open)
    : m_helperCount(helpers),
      m_membership(membership),
      m_open(std::move(open)),
      m_openLimit(openLimit()) {}

ThreadAhead::~ThreadAhead() {
  stop();
}

int ThreadAhead::openRoot(const Origin& origin, std::unique_ptr<AheadDirectory>& root,
                          EntryStat& st) {
  const bool isBelow = origin.parent >= 0;
  UniqueFd fd(m_open(isBelow ? origin.parent : AT_FDCWD, origin.path.c_str(), isBelow));
  if (!fd)
    return errno;
  if (const int error = examineEntry(fd.get(), "", m_membership, st); error != 0)
    return error;
  root = std::make_unique<AheadDirectory>();
  root->level = origin.level;
  root->firstStep = std::make_unique<AheadStep>(*root);
  root->firstStep->opened = std::make_shared<const OpenDirectory>(std::move(fd), m_openCount);
  return 0;
}

void ThreadAhead::start(AheadDirectory& root, const AheadRules& rules) {
  TRACE_METHOD("ThreadAhead::start(...)");
  m_rules = rules;
  m_isStarted = true;
  m_plan.insert(*root.firstStep, nullptr);
  // Threads made meanwhile take none of the job's signals: those are for the walk.
  const SignalsBlocked blocked;
  try {
    for (int i = 0; i < m_helperCount; ++i)
      m_helpers.emplace_back([this] { help(); });
  } catch (const std::system_error& error) {
    // No failure: with fewer helpers, or none, the walk does the work when it gets there.
    TRACE(TR_ERROR, "start helper thread %zu of %d: %s", m_helpers.size() + 1, m_helperCount,
          error.what());
  }
  TRACE(TR_GENERAL, "%zu helper threads read ahead of the walk", m_helpers.size());
}

void ThreadAhead::stop() noexcept {
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
void ThreadAhead::help() {
  AheadWorker worker(m_rules, m_open, m_openCount, m_quit);
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

bool ThreadAhead::mayRead(const AheadStep& step) const noexcept {
  return m_ahead.load(std::memory_order_relaxed) < BUDGET &&
         (step.opened || m_openCount.load(std::memory_order_relaxed) < m_openLimit);
}

// The first step of the plan that may be worked at; null when there is none. Passes over no more
// steps than there are threads.
AheadStep* ThreadAhead::firstToTake() const noexcept {
  for (AheadStep* step = m_plan.front(); step != nullptr; step = step->later) {
    if (step->state == AheadStep::State::UNREAD)
      // What comes behind it in the plan must not take the room that it waits for.
      return mayRead(*step) ? step : nullptr;
    if (step->state == AheadStep::State::EXAMINING && step->claimed < step->count)
      return step;
  }
  return nullptr;
}

// What the consumer does when it needs `step`: no limit holds for that one.
AheadStep* ThreadAhead::takeFor(AheadStep& step) const noexcept {
  if (step.state == AheadStep::State::UNREAD ||
      (step.state == AheadStep::State::EXAMINING && step.claimed < step.count))
    return &step;
  return firstToTake();
}

// Called with every piece of work taken and left behind: wakes one thread if there is more.
void ThreadAhead::wakeForWork() {
  // One thread, not all: each that finds work wakes the next while there is more.
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
void ThreadAhead::work(AheadStep& step, AheadWorker& worker, Lock& lock) {
  if (step.state != AheadStep::State::UNREAD || readStep(step, worker, lock))
    examineShare(step, worker, lock);
}

// Room for what a step may take, before it is read; lets a large directory use a window if that
// still fits.
std::int64_t ThreadAhead::reserve(AheadStep& step) noexcept {
  step.mayUseWindow = m_rules.isOnLocalDisk && step.directory.size >= LARGE_DIRECTORY_BYTES &&
                      m_ahead.load(std::memory_order_relaxed) < BUDGET;
  const auto room = static_cast<std::int64_t>(step.mayUseWindow ? NameList::WINDOW_NAMES : 0);
  m_ahead.fetch_add(room, std::memory_order_relaxed);
  return room;
}

// Reads a step. True when entries remain to be examined; a small directory is done in one go.
bool ThreadAhead::readStep(AheadStep& step, AheadWorker& worker, Lock& lock) {
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
  // What the step really takes, in place of what was reserved for it.
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

void ThreadAhead::examineShare(AheadStep& step, const AheadWorker& worker, Lock& lock) {
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
  // Whoever ends the last share finishes the step, whoever read it.
  step.state = AheadStep::State::FINISHING;
  lock.unlock();
  worker.finish(step);
  lock.lock();
  markDone(step);
}

void ThreadAhead::markDone(AheadStep& step) {
  AheadStep* after = &step;
  if (!step.directory.isDiscarded)
    // Right behind the step in stream order: that is where the walk goes next.
    for (const AheadStep::Subdirectory& below : step.subdirectories) {
      m_plan.insert(*below.directory->firstStep, after);
      after = below.directory->firstStep.get();
    }
  m_plan.remove(step);
  if (m_awaited == &step && m_consumerSleeps) {
    m_consumerSleeps = false;
    m_consumerWakes.notify_one();
  }
  setDone(step);
}

void ThreadAhead::await(AheadStep& step) {
  if (step.isDone())
    return;
  Lock lock(m_mutex);
  // Helpers leave a sleeping consumer alone until this very step is done, or there is work for it.
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

void ThreadAhead::giveBack(AheadStep& step, std::uint32_t entries) {
  const std::int64_t before = lower(step, entries);
  if (before < LOW_WATER || before - entries >= LOW_WATER)
    return;
  const Lock lock(m_mutex);
  wakeForWork();
}

void ThreadAhead::discard(std::unique_ptr<AheadDirectory> directory) {
  if (!directory)
    return;
  Lock lock(m_mutex);
  // Somebody works below it: the memory may go only when that is done.
  while (AheadStep* busy = m_plan.withdraw(*directory)) {
    lock.unlock();
    await(*busy);
    lock.lock();
  }
  lock.unlock();
  giveBackAll(*directory);
}

}  // namespace orv
