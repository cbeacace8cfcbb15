#include "Scan/unix/LaneAhead.h"

#include <algorithm>
#include <cerrno>
#include <new>
#include <utility>

#include "runtime/thrd/StopFlag.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"

namespace orv {
namespace {

using Kind = lane::Request::Kind;
using Phase = LaneWork::Phase;
using State = AheadStep::State;
using std::chrono::milliseconds;

// Longest sleep between two looks at the stop flag and at the lanes' progress.
constexpr milliseconds SLICE{200};

}  // namespace

LaneAhead::LaneAhead(int lanes, int timeoutSeconds, lane::Root root, LeftBehind& leftBehind)
    : m_timeout(std::chrono::seconds(timeoutSeconds)),
      m_requests(lanes, std::move(root), leftBehind, m_ahead),
      m_leftBehind(leftBehind),
      m_maxLeftBehind(std::max(MAX_LEFT_BEHIND, 2 * static_cast<std::size_t>(lanes))) {}

int LaneAhead::openRoot(const Origin& origin, std::unique_ptr<AheadDirectory>& root,
                        EntryStat& st) {
  TRACE_METHOD("LaneAhead::openRoot(...)");
  lane::Root& known = m_requests.root();
  known.path = origin.path;
  m_pumped = Lane::Clock::now();
  Lane& lane = *m_requests.lanes().front();
  if (!lane.start(known))
    return errno;
  // What it is told when no answer comes at all.
  m_rootReply.error = ETIMEDOUT;
  awaitUntil([&lane] { return !lane.isOpening; }, nullptr);
  if (!m_failure.empty())
    m_rootReply.error = m_failureError;
  if (m_rootReply.error != 0) {
    stop();
    return m_rootReply.error;
  }
  st = m_rootReply.st;
  known.identity = lane::Identity::of(st);
  root = std::make_unique<AheadDirectory>();
  root->firstStep = std::make_unique<AheadStep>(*root);
  return 0;
}

void LaneAhead::start(AheadDirectory& root, const AheadRules& rules) {
  m_rules = rules;
  m_isStarted = true;
  m_requests.plan().insert(*root.firstStep, nullptr);
}

void LaneAhead::stop() noexcept {
  m_requests.end();
}

// --- Waiting

// What a want of memory interrupts leaves requests and answers that no longer belong together.
template <typename Work>
void LaneAhead::orGiveUp(Work work) {
  try {
    work();
  } catch (const std::bad_alloc&) {
    giveUp(ENOMEM, "no memory");  // short enough to need none
  }
}

template <typename IsReady>
void LaneAhead::awaitUntil(IsReady isReady, AheadStep* needed) {
  while (!isReady()) {
    orGiveUp([this, needed] { pump(needed); });
    if (isReady())
      return;
    if (!m_failure.empty()) {
      if (needed != nullptr)
        fail(*needed);
      return;
    }
    orGiveUp([this] { sleep(); });
    throwIfStopped();
  }
}

void LaneAhead::awaitOpened(AheadDirectory& directory) {
  AheadStep& step = *directory.firstStep;
  awaitUntil([&step] { return step.isDone() || step.state == State::EXAMINING; }, &step);
}

bool LaneAhead::awaitEntry(AheadStep& step, std::uint32_t position) {
  awaitUntil(
      [&step, position] {
        return step.isDone() || (step.state == State::EXAMINING && position < step.count &&
                                 step.entries[position].error != AheadStep::PENDING);
      },
      &step);
  return position < step.count;
}

// Until a lane has answered a good part of what it was asked, or has nothing left to do.
void LaneAhead::sleep() {
  m_polled.clear();
  bool mustWait = true;
  for (const auto& lane : m_requests.lanes())
    if (lane->isRunning() && lane->isAwaited()) {
      // One lane that has answers already is enough not to sleep.
      mustWait = lane->askToBeWoken() && mustWait;
      m_polled.push_back({lane->wakeUps(), POLLIN, 0});
    }
  // A signal ends the sleep; one that comes just before it is seen at its end.
  (void)::poll(m_polled.data(), m_polled.size(), mustWait ? static_cast<int>(SLICE.count()) : 0);
  for (const auto& lane : m_requests.lanes())
    if (lane->isRunning() && lane->isAwaited() && !lane->takeWakeUps()) {
      // What it still answered counts.
      takeReplies(*lane);
      if (lane->isRunning() && lane->isAwaited())
        lose(*lane, EPIPE);
    }
}

// Takes what was answered, judges those that do not answer, and sends new requests.
void LaneAhead::pump(AheadStep* needed) {
  const auto now = Lane::Clock::now();
  // A job that was stopped for a while must not take that for its lanes' silence.
  const auto elapsed = std::min<Lane::Clock::duration>(now - m_pumped, 2 * SLICE);
  m_pumped = now;
  for (const auto& lane : m_requests.lanes())
    if (lane->isRunning() && lane->isAwaited()) {
      takeReplies(*lane);
      judge(*lane, elapsed);
    }
  if (!m_failure.empty())
    return;
  m_requests.dispatch(needed, ask());
  // Looked at behind all requests: without a lane none of them went anywhere.
  if (const std::optional<int> error = m_requests.startError())
    giveUp(*error, "start a helper process: " + errnoText(*error));
}

LaneRequests::Ask LaneAhead::ask() const noexcept {
  return {m_pumped, m_silentOnEnd > 0};
}

// --- Answers

void LaneAhead::takeReplies(Lane& lane) {
  lane::Reply reply;
  bool isAny = false;
  while (lane.isRunning() && lane.take(reply)) {
    isAny = true;
    handle(lane, reply);
  }
  if (!isAny || !lane.isRunning())
    return;
  lane.makeRoom();
  // Any answer shows that the filesystem lives: patience begins anew.
  lane.waited = {};
  lane.since = m_pumped;
  m_silentOnEnd = m_silentRounds = 0;
}

void LaneAhead::handle(Lane& lane, const lane::Reply& reply) {
  if (lane.isOpening) {
    rootOpened(lane, reply);
    return;
  }
  // A helper answers in the order of its requests.
  LaneWork& work = lane.works.front();
  switch (reply.kind) {
    case lane::Reply::OPENED:
      opened(lane, work, reply);
      break;
    case lane::Reply::LIST:
      listed(lane, work, reply);
      break;
    case lane::Reply::EXAMINED:
      examined(work, reply.error, &reply.st);
      if (work.at == work.end)
        popWork(lane);
  }
}

void LaneAhead::rootOpened(Lane& lane, const lane::Reply& reply) {
  lane.isOpening = false;
  m_rootReply = reply;
  if (reply.error != 0 && m_requests.root().identity.isKnown())
    giveUp(reply.error, "open its root again: " + errnoText(reply.error));
}

void LaneAhead::popWork(Lane& lane) {
  lane.load -= lane.works.front().worth;
  lane.works.pop_front();
}

void LaneAhead::opened(Lane& lane, LaneWork& work, const lane::Reply& reply) {
  work.phase = work.kind == Kind::READ ? Phase::READING : Phase::EXAMINING;
  AheadStep* step = work.step;
  if (reply.error == 0) {
    if (step != nullptr && !step->directory.identity.isKnown())
      step->directory.identity = lane::Identity::of(reply.st);
    return;
  }
  if (step != nullptr && work.kind == Kind::READ) {
    endRead(*step, !step->isContinuation ? reply.error : 0, reply.error);
  } else if (step != nullptr) {
    // Other entries of the directory may have been examined: what is left out is said at its end.
    step->directory.readError = reply.error;
    while (work.at < work.end)
      examined(work, reply.error, nullptr);
  }
  popWork(lane);
}

void LaneAhead::listed(Lane& lane, LaneWork& work, const lane::Reply& reply) {
  const lane::List& list = reply.list;
  work.phase = Phase::EXAMINING;
  work.end = std::min(list.count, work.end);
  AheadStep* step = work.step;
  auto names = std::make_unique_for_overwrite<char[]>(list.textLength);
  lane.takeText(names.get(), list.textLength);
  if (step != nullptr) {
    // The estimate that was reserved with the request makes room for what there is.
    m_ahead.fetch_add(std::int64_t{list.count} + STEP_COST -
                      LaneRequests::expectedEntries(step->directory));
    step->keep(std::move(names), list.count, list.textLength);
    // Its first entries are examined with the read: most directories are done in one request.
    step->claimed = work.end;
    step->examining = work.end > 0 ? 1 : 0;
    step->state = State::EXAMINING;
    step->directory.readError = reply.error;
    if (!list.isAtEnd && reply.error == 0) {
      step->next = std::make_unique<AheadStep>(step->directory);
      step->next->isContinuation = true;
      step->next->position = list.position;
      m_requests.plan().insert(*step->next, step);
    }
    // A directory without entries: nothing will be examined that could end the step.
    if (list.count == 0)
      endStep(*step);
  }
  if (work.at == work.end)
    popWork(lane);
  // At once: the names behind are what keeps other lanes busy.
  if (step != nullptr && step->next != nullptr && m_requests.mayRead())
    (void)m_requests.dispatchStep(*step->next, ask());
}

void LaneAhead::examined(LaneWork& work, int error, const EntryStat* st) {
  const std::uint32_t index = work.at++;
  if (work.step == nullptr)
    return;
  AheadStep& step = *work.step;
  AheadStep::Entry& entry = step.entries[index];
  if (error == 0)
    entry.st = *st;
  entry.error = error;
  if (m_rules.mayBeEntered(step, index))
    planSubdirectory(step, index);
  if (work.at == work.end)
    endShare(step);
}

// The walk will need it before the rest of the step.
void LaneAhead::planSubdirectory(AheadStep& step, std::uint32_t index) {
  const AheadDirectory& parent = step.directory;
  auto below = std::make_unique<AheadDirectory>();
  below->path = parent.path.empty() ? step.nameOf(index) : parent.path + "/" + step.nameOf(index);
  // Longer ones are beyond what the walk examines.
  if (below->path.size() > lane::MAX_PATH_LENGTH)
    return;
  below->size = step.entries[index].st.size;
  below->level = parent.level + 1;
  below->firstStep = std::make_unique<AheadStep>(*below);
  AheadStep& first = *below->firstStep;
  auto& all = step.subdirectories;
  const auto at = std::upper_bound(
      all.begin(), all.end(), index,
      [](std::uint32_t i, const AheadStep::Subdirectory& other) { return i < other.index; });
  all.insert(at, {index, std::move(below)});
  // Last: what has no owner must not be in the plan.
  m_requests.plan().insertBefore(first, step);
}

// A step that is not read: nothing of it is to come.
void LaneAhead::endRead(AheadStep& step, int openError, int readError) {
  m_ahead.fetch_add(std::int64_t{STEP_COST} - LaneRequests::expectedEntries(step.directory));
  step.directory.openError = openError;
  step.directory.readError = openError == 0 ? readError : 0;
  endStep(step);
}

void LaneAhead::endShare(AheadStep& step) {
  --step.examining;
  if (step.claimed == step.count && step.examining == 0)
    endStep(step);
}

void LaneAhead::endStep(AheadStep& step) {
  m_requests.plan().remove(step);
  setDone(step);
}

// --- Silence

void LaneAhead::judge(Lane& lane, Lane::Clock::duration elapsed) {
  if (!lane.isRunning() || !lane.isAwaited() || lane.since == m_pumped)
    return;
  // Added up in slices and not taken from the clock: see `pump`.
  lane.waited += elapsed;
  if (lane.waited < m_timeout)
    return;
  lose(lane, ETIMEDOUT);
  if (m_leftBehind.count() >= m_maxLeftBehind)
    giveUp(ETIMEDOUT,
           formatText("%zu helper processes sleep in calls that do not end", m_leftBehind.count()));
}

// Counts a lane that fell silent, and gives the filesystem up when none has answered for long.
void LaneAhead::countSilence(const Lane& lane, int error) {
  ++m_silentOnEnd;
  // Lanes that fell silent together count once, or many of them would have less patience than one.
  if (lane.since < m_roundEnd)
    return;
  m_roundEnd = m_pumped;
  if (++m_silentRounds < MAX_SILENT_ROUNDS)
    return;
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(m_timeout).count();
  giveUp(error, error == ETIMEDOUT
                    ? formatText("%d calls in a row took longer than %lld seconds", m_silentOnEnd,
                                 static_cast<long long>(seconds))
                    : formatText("%d helper processes in a row ended", m_silentOnEnd));
}

// Leaves the lane's helper behind. The rest of what it was asked is asked again.
void LaneAhead::lose(Lane& lane, int error) {
  if (error == ETIMEDOUT)
    TRACE(TR_ERROR, "zplNFSsyscalls: stale mount point for (%s)\n", m_requests.root().path.c_str());
  else
    TRACE(TR_ERROR, "a helper process for %s is gone: %s", m_requests.root().path.c_str(),
          errnoText(error).c_str());
  lane.end();
  std::deque<LaneWork> works = std::exchange(lane.works, {});
  // Without the root there is nothing to go on with: whoever opens it gets the error.
  if (!m_requests.root().identity.isKnown()) {
    m_rootReply.error = error;
    return;
  }
  if (!works.empty()) {
    LaneWork& current = works.front();
    // A helper that somebody ended is replaced once.
    const bool isRepeated = error == EPIPE && !current.wasCut;
    current.wasCut = isRepeated;
    if (!isRepeated && charge(current, error))
      works.pop_front();
    // From the end, so that the first of them comes first again.
    for (auto work = works.rbegin(); work != works.rend(); ++work)
      m_requests.putBack(*work);
  }
  countSilence(lane, error);
}

// Answers what a lane was just doing with that error. True when nothing of the work is left.
bool LaneAhead::charge(LaneWork& work, int error) {
  if (work.kind == Kind::READ && work.phase != Phase::EXAMINING) {
    if (work.step != nullptr)
      endRead(*work.step, !work.step->isContinuation ? error : 0, error);
    return true;
  }
  examined(work, error, nullptr);
  return work.at == work.end;
}

void LaneAhead::giveUp(int error, std::string why) {
  // The first reason is the one that is reported: the others follow from it.
  if (m_failure.empty()) {
    m_failure = std::move(why);
    m_failureError = error;
  }
  stop();
}

// The walk gets no more of the step than it has.
void LaneAhead::fail(AheadStep& step) {
  if (step.isDone())
    return;
  step.directory.readError = m_failureError;
  for (std::uint32_t i = 0; i < step.count; ++i)
    // What was examined before the filesystem fell silent is still shown to the walk.
    if (step.entries[i].error == AheadStep::PENDING)
      step.entries[i].error = m_failureError;
  endStep(step);
}

// --- The walk

void LaneAhead::giveBack(AheadStep& step, std::uint32_t entries) {
  (void)lower(step, entries);
  orGiveUp([this] { pump(nullptr); });
}

void LaneAhead::discard(std::unique_ptr<AheadDirectory> directory) {
  if (!directory)
    return;
  withdraw(*directory);
  m_requests.forgetDiscarded();
}

// Takes a directory with all that is known below it out of the plan, and gives its room back.
void LaneAhead::withdraw(AheadDirectory& directory) {
  directory.isDiscarded = true;
  for (AheadStep* step = directory.firstStep.get(); step != nullptr; step = step->next.get()) {
    m_requests.plan().remove(*step);
    if (step->state == State::READING)
      m_ahead.fetch_sub(LaneRequests::expectedEntries(directory));
    else if (step->state != State::UNREAD)
      m_ahead.fetch_sub(std::int64_t{step->count} + STEP_COST - step->givenBack);
    for (const AheadStep::Subdirectory& below : step->subdirectories)
      if (below.directory)
        withdraw(*below.directory);
  }
}

}  // namespace orv
