#include "Scan/unix/LaneRequests.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace orv {
namespace {

using Kind = lane::Request::Kind;
using Phase = LaneWork::Phase;
using State = AheadStep::State;

// What a lane is asked ahead: enough to be busy until the job looks again, no more than it would
// have to do again elsewhere. A read counts as that much, an examination as one for each entry.
constexpr std::int64_t READ_LOAD = 16;
constexpr std::int64_t MAX_LOAD = 512;
// Another lane is worth its start when all others have more than that to do.
constexpr std::int64_t BUSY_LOAD = 2 * READ_LOAD;

std::int64_t loadOf(const LaneWork& work) noexcept {
  return work.kind == Kind::READ ? READ_LOAD : work.end - work.at;
}

}  // namespace

LaneRequests::LaneRequests(int lanes, lane::Root root, LeftBehind& leftBehind,
                           std::atomic<std::int64_t>& ahead)
    : m_root(std::move(root)), m_ahead(ahead) {
  for (int i = 0; i < lanes; ++i)
    m_lanes.push_back(std::make_unique<Lane>(leftBehind));
}

void LaneRequests::end() noexcept {
  for (const auto& lane : m_lanes) {
    lane->end();
    lane->works.clear();
  }
  // Nobody will ask for it: the walk has ended, or is about to.
  m_again.clear();
}

std::uint32_t LaneRequests::expectedEntries(const AheadDirectory& directory) noexcept {
  constexpr auto MOST = static_cast<std::int64_t>(lane::READ_BYTES / lane::SMALLEST_ENTRY);
  constexpr auto SMALLEST = static_cast<std::int64_t>(lane::SMALLEST_ENTRY);
  return static_cast<std::uint32_t>(std::clamp<std::int64_t>(directory.size / SMALLEST, 16, MOST));
}

void LaneRequests::putBack(LaneWork work) {
  if (work.step == nullptr)
    return;
  // Its names are known by now: only what was not answered is asked again.
  if (work.phase == Phase::EXAMINING)
    work.kind = Kind::EXAMINE;
  work.phase = Phase::OPENING;
  m_again.push_front(work);
}

void LaneRequests::forgetDiscarded() {
  const auto forget = [](LaneWork& work) {
    if (work.step != nullptr && work.step->directory.isDiscarded)
      work.step = nullptr;
  };
  for (const auto& lane : m_lanes)
    std::for_each(lane->works.begin(), lane->works.end(), forget);
  std::for_each(m_again.begin(), m_again.end(), forget);
}

void LaneRequests::dispatch(AheadStep* needed, const Ask& ask) {
  // What the walk waits for first: it may be queued behind what does not answer.
  std::stable_partition(m_again.begin(), m_again.end(),
                        [needed](const LaneWork& work) { return work.step == needed; });
  while (!m_again.empty()) {
    if (!dispatchWork(m_again.front(), ask))
      return;
    m_again.pop_front();
  }
  // Whatever the budget says.
  while (needed != nullptr && dispatchStep(*needed, ask)) {
  }
  dispatchPlan(ask);
}

void LaneRequests::dispatchPlan(const Ask& ask) {
  // In batches: to look through the plan for every request would cost more than the request.
  const Lane* lane = freest();
  if (lane == nullptr || lane->load > MAX_LOAD / 2)
    return;
  for (AheadStep* step = m_plan.front(); step != nullptr; step = step->later)
    do {
      lane = freest();
      if (lane == nullptr || lane->load >= MAX_LOAD || (step->state == State::UNREAD && !mayRead()))
        return;
    } while (dispatchStep(*step, ask));
}

bool LaneRequests::dispatchStep(AheadStep& step, const Ask& ask) {
  if (step.state == State::UNREAD) {
    // The rest of a large directory is only listed: other lanes examine what it holds.
    const std::uint32_t inFirst = step.isContinuation ? 0 : lane::SHARE;
    if (!dispatchWork({&step, Kind::READ, 0, inFirst}, ask))
      return false;
    step.state = State::READING;
    m_ahead.fetch_add(expectedEntries(step.directory));
    return true;
  }
  if (step.state != State::EXAMINING || step.claimed == step.count)
    return false;
  const std::uint32_t end = std::min(step.claimed + lane::SHARE, step.count);
  if (!dispatchWork({&step, Kind::EXAMINE, step.claimed, end}, ask))
    return false;
  step.claimed = end;
  ++step.examining;
  return true;
}

bool LaneRequests::dispatchWork(LaneWork work, const Ask& ask) {
  if (work.step == nullptr)
    return true;
  AheadStep& step = *work.step;
  std::size_t textLength = step.directory.path.size();
  if (work.kind == Kind::EXAMINE)
    textLength += step.namesLength(work.at, work.end);
  Lane* lane = laneFor(step, textLength, ask.isSilent);
  if (lane == nullptr)
    return false;
  send(*lane, work, ask.now);
  return true;
}

void LaneRequests::send(Lane& lane, LaneWork work, Lane::Clock::time_point now) {
  AheadStep& step = *work.step;
  AheadDirectory& directory = step.directory;
  // A lane knows by its number what it has open: a path may lead elsewhere by now.
  if (directory.number == 0)
    directory.number = ++m_directories;
  if (work.kind == Kind::READ)
    directory.lane = &lane;
  lane::Request request;
  request.kind = work.kind;
  request.directory = directory.number;
  request.identity = directory.identity;
  request.position = step.position;
  request.count = work.end - work.at;
  request.pathLength = static_cast<std::uint32_t>(directory.path.size());
  const char* names = nullptr;
  if (work.kind == Kind::EXAMINE) {
    names = step.nameOf(work.at);
    request.namesLength = static_cast<std::uint32_t>(step.namesLength(work.at, work.end));
  }
  // Its time runs from the first request that it owes an answer to.
  if (!lane.isAwaited()) {
    lane.waited = {};
    lane.since = now;
  }
  lane.send(request, directory.path, names);
  work.worth = loadOf(work);
  lane.load += work.worth;
  lane.works.push_back(work);
}

// The lane that has least to do, or a fresh one; for the rest of a directory that which holds it
// open: positions in a stream are not worth much elsewhere.
Lane* LaneRequests::laneFor(const AheadStep& step, std::size_t textLength, bool isSilent) {
  // Of a filesystem that is silent, one request finds out whether it answers again: what is not
  // yet asked can then be spread over all lanes.
  if (isSilent && isAnyBusy())
    return nullptr;
  Lane* lane = freest();
  if (step.state == State::UNREAD && step.isContinuation && step.directory.lane->isRunning())
    lane = step.directory.lane;
  else if (lane == nullptr || lane->load >= BUSY_LOAD)
    if (Lane* fresh = freshLane(isSilent))
      lane = fresh;
  return lane != nullptr && lane->hasRoomFor(textLength) ? lane : nullptr;
}

Lane* LaneRequests::freest() {
  Lane* found = nullptr;
  for (const auto& lane : m_lanes)
    if (lane->isRunning() && (found == nullptr || lane->load < found->load))
      found = lane.get();
  return found;
}

bool LaneRequests::isAnyBusy() const {
  return std::any_of(m_lanes.begin(), m_lanes.end(),
                     [](const auto& lane) { return lane->isRunning() && !lane->works.empty(); });
}

// Null when all run, or none may be started.
Lane* LaneRequests::freshLane(bool isSilent) {
  const bool isAnyRunning = freest() != nullptr;
  if (isAnyRunning && (!m_mayStartLanes || isSilent))
    return nullptr;
  for (const auto& lane : m_lanes) {
    if (lane->isRunning())
      continue;
    if (lane->start(m_root))
      return lane.get();
    // Not tried again: what was missing, memory or processes, is mostly missing still.
    m_mayStartLanes = false;
    if (!isAnyRunning)
      m_startError = errno;
    return nullptr;
  }
  return nullptr;
}

}  // namespace orv
