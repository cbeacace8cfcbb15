#include "Scan/share/Coordinator.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <filesystem>
#include <thread>

#include "Scan/share/LocalEngine.h"
#include "Scan/share/SlurmEngine.h"
#include "runtime/nls/MessageLog.h"
#include "runtime/thrd/StopFlag.h"
#include "runtime/unx/ProgressPage.h"
#include "runtime/ut/Text.h"

namespace orv::share {
namespace {

using namespace std::chrono_literals;

constexpr int INCOMPLETE = 4;
// Between two looks at the stop flag and at what ended.
constexpr auto WAIT = 500ms;
// For the hold of the work directory: two seconds in all.
constexpr int HOLD_ATTEMPTS = 40;
constexpr auto HOLD_WAIT = 50ms;
// What has been walked, in as many parts per task as its end may weigh: what is left when the first
// task finds nothing more to do is at most one of them for each of the others.
constexpr std::int64_t FAIR_PARTS = 8;
constexpr std::int64_t FAIR_SCARCE = 4;
// Of a share, unless its entries are bounded: what is lost with it, and what a scan at most waits
// for.
constexpr auto MOST_TIME = 1min;
// Directories of a lost share that its message names.
constexpr std::size_t NAMED_DIRECTORIES = 10;

std::string newRunName() {
  std::uint64_t number = 0;
  // Two runs in one directory must never take each other's states for their own.
  if (::getrandom(&number, sizeof number, 0) != sizeof number)
    throw StateError("name the run: " + errnoText(errno));
  return formatText("%016lx", static_cast<unsigned long>(number));
}

bool exists(const std::string& file) {
  return ::access(file.c_str(), F_OK) == 0;
}

}  // namespace

std::unique_ptr<Engine> makeEngine(const SpreadOptions& options, const WorkDirectory& work,
                                   const std::string& run, const std::string& program) {
  if (options.engine == "local")
    return std::make_unique<LocalEngine>(work, program);
  if (options.engine == "slurm")
    return std::make_unique<SlurmEngine>(options, work, run, program);
  return nullptr;
}

Coordinator::Coordinator(const SpreadOptions& options, const WorkDirectory& work,
                         const RootMark& root, ProgressPage* progress)
    : m_options(options),
      m_work(work),
      m_progress(progress),
      m_pace(options.engine == "local" ? Pace{3'000, 120ms, 1} : Pace{1'000, 1000ms, 2}) {
  hold();
  begin(root);
}

Coordinator::~Coordinator() = default;

// Two that plan the same tree would count it twice.
void Coordinator::hold() {
  m_held.reset(::open(m_work.coordinator().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  int error = m_held ? 0 : errno;
  // A process that the last coordinator was just starting when it was killed has the lock, too,
  // until it is the other program.
  for (int attempt = 1; error == 0 && ::flock(m_held.get(), LOCK_EX | LOCK_NB) != 0; ++attempt) {
    error = errno == EWOULDBLOCK && attempt < HOLD_ATTEMPTS ? 0 : errno;
    std::this_thread::sleep_for(HOLD_WAIT);
  }
  if (error != 0)
    throw StateError(
        "hold " + m_work.coordinator() + ": " +
        (error == EWOULDBLOCK ? "another process coordinates the scan" : errnoText(error)));
}

void Coordinator::begin(const RootMark& root) {
  // Written once: a coordinator that takes the run up has the same name and the same start of the
  // scan, or ages would differ between shares.
  if (!exists(m_work.runFile())) {
    Header header;
    header.run = newRunName();
    header.scanStart = std::time(nullptr);
    header.node = nodeName();
    header.root = root;
    StateWriter(m_work.runFile(), header).close({});
  }
  m_run = readShare(m_work.runFile(), {}).header;
  if (m_run.root != root)
    throw StateError("go on with " + m_work.runFile() + ": it is of another filesystem");
  const std::string self =
      formatText("%d %s %s\n", ::getpid(), nodeName().c_str(), m_run.run.c_str());
  if (::ftruncate(m_held.get(), 0) != 0 || !writeFully(m_held.get(), self))
    throw StateError("write " + m_work.coordinator() + ": " + errnoText(errno));
  // The shares' processes have no agent directory: they say their messages with this copy.
  std::error_code error;
  std::filesystem::copy_file(m_options.catalog,
                             m_work.catalogDirectory() + "/" +
                                 std::filesystem::path(m_options.catalog).filename().string(),
                             std::filesystem::copy_options::overwrite_existing, error);
  if (error)
    throw StateError("copy " + m_options.catalog + ": " + error.message());
}

Coordinator::Outcome Coordinator::walkAll(Engine& engine) {
  takeUp(engine);
  plan(engine, 0);
  while (!m_running.empty()) {
    show(engine.hindrance());
    const std::vector<Engine::Ended> over = engine.wait(WAIT);
    if (agentStop.load(std::memory_order_relaxed)) {
      engine.cancel();
      throwIfStopped();
    }
    // Before their states are read, so that nobody waits for that.
    plan(engine, static_cast<std::size_t>(std::ranges::count(over, "", &Engine::Ended::reason)));
    for (const Engine::Ended& ended : over)
      settle(engine, ended);
    plan(engine, 0);
  }
  for (const auto& [key, place] : m_met)
    m_outcome.met.push_back({key.first, key.second, place});
  std::ranges::sort(m_outcome.met, {}, &Met::place);
  return std::move(m_outcome);
}

// Goes on where an earlier coordinator ended. What shares of it are still walking is ended first:
// nobody can tell it from a walk that is lost.
void Coordinator::takeUp(Engine& engine) {
  const std::vector<std::uint32_t> shares = m_work.shares();
  if (shares.empty())
    return;
  engine.cancel();
  std::map<std::uint32_t, std::vector<LeftOver>> left;
  std::vector<std::uint32_t> open;
  for (const std::uint32_t number : shares) {
    for (const LeftOver& root : readShare(m_work.share(number), m_run.run).roots)
      m_planned[root.directory.faName] = number;
    m_lastShare = number;
    try {
      left[number] =
          exists(m_work.accepted(number)) ? take(number, m_work.accepted(number)) : accept(number);
    } catch (const StateError&) {
      // Not there, or not whole: walked again.
      open.push_back(number);
    }
  }
  for (auto& [number, directories] : left)
    keepLeft(number, std::move(directories));
  for (const std::uint32_t number : open)
    m_running[number] = 1;
  engine.start(open);
}

// A share may leave what it was to begin with, which a later one begins with then; and one whose
// state was damaged is walked again when others have begun with what it leaves.
void Coordinator::keepLeft(std::uint32_t number, std::vector<LeftOver> directories) {
  for (LeftOver& directory : directories) {
    const auto planned = m_planned.find(directory.directory.faName);
    if (planned != m_planned.end() && planned->second > number)
      continue;
    // One that comes last would be what all others wait for.
    if (directory.directory.faLength >= LARGE_DIRECTORY)
      m_left.push_front(std::move(directory));
    else
      m_left.push_back(std::move(directory));
  }
}

// Keeps the engine busy. `over`: how many of the running shares have ended, and will not be walked
// again as far as is known.
void Coordinator::plan(Engine& engine, std::size_t over) {
  std::vector<std::uint32_t> fresh;
  while (m_running.size() < static_cast<std::size_t>(m_options.tasks) + over &&
         (!m_left.empty() || m_lastShare == 0)) {
    const Share share = nextShare();
    writeShare(m_work.share(share.header.share), share);
    m_running[share.header.share] = 1;
    fresh.push_back(share.header.share);
  }
  if (!fresh.empty())
    engine.start(fresh);
}

// Budgets grow with what is known of the tree: a share must not be what all others wait for in the
// end. For the same reason it gets a part only of the directories that are left. Where there are
// fewer directories than tasks it is to find some for the others first of all.
Share Coordinator::nextShare() {
  const std::int64_t fair = m_outcome.entries / (FAIR_PARTS * m_options.tasks);
  const bool isScarce = m_left.size() < static_cast<std::size_t>(m_options.tasks);
  const std::int64_t most = m_options.budget > 0 ? m_options.budget : walkedIn(MOST_TIME);
  Share share;
  share.header = m_run;
  share.header.share = ++m_lastShare;
  share.header.budget = std::min(
      std::max(isScarce ? fair / FAIR_SCARCE : std::max(fair, worthAStart()), m_pace.least), most);
  const std::size_t part =
      m_left.size() / (m_pace.parts * static_cast<std::size_t>(m_options.tasks)) + 1;
  for (std::size_t i = std::min({part, MAX_ROOTS, m_left.size()}); i > 0; --i) {
    share.roots.push_back(std::move(m_left.front()));
    m_left.pop_front();
  }
  // In the order of one walk: what a share writes is then sorted without another step.
  std::ranges::sort(share.roots, {}, [](const LeftOver& root) -> const std::string& {
    return root.directory.faPlace;
  });
  return share;
}

// Entries that one walk meets in that time, as fast as walks were so far.
std::int64_t Coordinator::walkedIn(std::chrono::milliseconds time) const {
  if (m_milliseconds == 0)
    return m_pace.least;
  return std::max(m_outcome.entries * time.count() / m_milliseconds, m_pace.least);
}

// Some 10 ms for a process of this machine, where entries are fast; some 50 ms until a worker
// elsewhere has looked for its order.
std::int64_t Coordinator::worthAStart() const {
  return std::min(walkedIn(m_pace.time), MAX_MIN_BUDGET);
}

void Coordinator::settle(Engine& engine, const Engine::Ended& ended) {
  // Settled already: nothing more of it is expected.
  if (!m_running.contains(ended.share))
    return;
  try {
    keepLeft(ended.share, accept(ended.share));
    m_running.erase(ended.share);
  } catch (const StateError& error) {
    retry(engine, ended.share, ended.reason.empty() ? error.what() : ended.reason);
  }
}

// Takes a state over, after which the share cannot be walked again: what it left is planned now.
std::vector<LeftOver> Coordinator::accept(std::uint32_t number) {
  const std::string state = m_work.state(number);
  const std::string accepted = m_work.accepted(number);
  verify(number, state);
  // Away from where a late walk of the same share would write: it can no longer be replaced.
  if (::rename(state.c_str(), accepted.c_str()) != 0)
    throw StateError("rename " + state + ": " + errnoText(errno));
  return take(number, accepted);
}

void Coordinator::verify(std::uint32_t number, const std::string& file) const {
  StateReader::verify(file);
  if (StateReader(file, m_run.run).header().share != number)
    throw StateError("read " + file + ": it is of another share");
}

std::vector<LeftOver> Coordinator::take(std::uint32_t number, const std::string& file) {
  verify(number, file);
  StateReader reader(file, m_run.run);
  m_nodes.insert(reader.header().node);
  // Kept apart until the file is read to its end: one that fails in the middle must leave nothing
  // planned.
  std::vector<LeftOver> left;
  Record record;
  while (reader.next(record)) {
    if (record.kind == Record::Kind::LEFT_OVER) {
      left.push_back(std::move(record.leftOver));
    } else if (record.kind == Record::Kind::MET) {
      std::string& first = m_met[{record.met.isGroup, record.met.id}];
      if (first.empty() || record.met.place < first)
        first = record.met.place;
    } else if (record.kind == Record::Kind::TRAILER) {
      m_outcome.entries += record.trailer.entries;
      m_milliseconds += record.trailer.milliseconds;
      m_outcome.code = std::max(m_outcome.code, record.trailer.code);
    }
  }
  m_outcome.states.push_back(file);
  m_outcome.isRootWalked = m_outcome.isRootWalked || number == 1;
  return left;
}

void Coordinator::retry(Engine& engine, std::uint32_t number, const std::string& reason) {
  // What was refused once would be found, and refused, again.
  ::unlink(m_work.state(number).c_str());
  if (m_running[number]++ < MAX_ATTEMPTS) {
    issueMessage(msg::STA0565W, {std::to_string(number), reason});
    engine.start({number});
    return;
  }
  giveUp(number, reason);
}

// Says which directories are missing: a result must never be silently short.
void Coordinator::giveUp(std::uint32_t number, const std::string& reason) {
  m_running.erase(number);
  m_outcome.code = INCOMPLETE;
  // Read again for this: shares that run are known by their numbers only.
  const Share share = readShare(m_work.share(number), m_run.run);
  std::string names;
  for (std::size_t i = 0; i < std::min(share.roots.size(), NAMED_DIRECTORIES); ++i)
    names += "\n" + withoutControlCharacters(share.roots[i].directory.faName);
  if (share.roots.size() > NAMED_DIRECTORIES)
    names += formatText("\nand %zu more, see %s", share.roots.size() - NAMED_DIRECTORIES,
                        m_work.share(number).c_str());
  if (share.roots.empty())
    names = "\nthe scan root";
  issueMessage(msg::STA0564E, {std::to_string(number), std::to_string(MAX_ATTEMPTS), reason,
                               Insert::lines(names)});
}

void Coordinator::show(const std::string& hindrance) const {
  if (m_progress == nullptr)
    return;
  m_progress->setEntries(static_cast<std::uint64_t>(m_outcome.entries));
  m_progress->directoryEntered(
      formatText("%zu shares done, %zu begun, %zu directories left, %zu %s",
                 m_outcome.states.size(), m_running.size(), m_left.size(), m_nodes.size(),
                 m_nodes.size() == 1 ? "node" : "nodes") +
      (hindrance.empty() ? "" : ", " + hindrance));
}

}  // namespace orv::share
