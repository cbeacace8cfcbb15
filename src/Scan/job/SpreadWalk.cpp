#include "Scan/job/SpreadWalk.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "Scan/definition/CuStatDef.h"
#include "Scan/entry/FileType.h"
#include "Scan/share/StateMerge.h"
#include "Scan/walk/DirectoryReader.h"
#include "Scan/walk/Place.h"
#include "runtime/nls/MessageLog.h"

namespace orv {
namespace {

constexpr int WALK_FAILED = 8;

// States that are merged at a time, at most: a bound of memory, too.
constexpr long FAN_IN = 64;
// Descriptors that a merger needs besides those of the states, about.
constexpr long OTHER_FILES = 16;

// As many states as may be open at a time.
std::size_t fanIn() noexcept {
  const long files = ::sysconf(_SC_OPEN_MAX);  // below 0 where there is no limit
  return static_cast<std::size_t>(files < 0 ? FAN_IN : std::clamp(files - OTHER_FILES, 2L, FAN_IN));
}

// Stands where accumulators expect the walk: knows the filesystem and the start of the scan.
class StillScanner final : public Scanner {
 public:
  using Scanner::Scanner;

 protected:
  std::unique_ptr<DirectoryReader> makeReader(int) override { return nullptr; }
};

// The whole, of which nothing is walked here.
class WholeTree final : public WalkPart {
 public:
  explicit WholeTree(std::int64_t start) {
    scanStart = start;
    m_root.faPlace = place::ROOT;
  }
  [[nodiscard]] const FileAttributes& root() const override { return m_root; }
  [[nodiscard]] bool mayEnter(const FileAttributes&, std::int64_t) override { return false; }
  void leaveOver(const FileAttributes&) override {}

 private:
  FileAttributes m_root;
};

// The definition's profile of that number. Throws StateError when there is none.
CuStatDef& profileOf(CuStatDef* profiles, std::uint32_t number) {
  CuStatDef* profile = profiles;
  for (; profile != nullptr && number > 0; --number)
    profile = profile->sdNext;
  if (profile == nullptr)
    throw share::StateError("merge states: they are of another definition");
  return *profile;
}

// Containers for the parts of one after the other.
class Containers : public share::MergeTarget {
 public:
  Containers(FSRef& ref, CuStatDef* profiles) noexcept : m_ref(ref), m_profiles(profiles) {}

  CuStatAccum& begin(const share::Container& container) override {
    m_container = container;
    m_profile = &profileOf(m_profiles, container.profile);
    // New ones for every container: the figures of one must not get into the next.
    m_accumulators = std::make_unique<CuStatAccum>();
    m_accumulators->buildAccum(*m_profile, *m_ref.filesystem, m_ref.filesystem->fsScanTime);
    return *m_accumulators;
  }

 protected:
  FSRef& m_ref;
  CuStatDef* m_profiles;
  share::Container m_container;
  CuStatDef* m_profile = nullptr;
  std::unique_ptr<CuStatAccum> m_accumulators;
};

// Many states become one.
class StateTarget final : public Containers {
 public:
  StateTarget(FSRef& ref, CuStatDef* profiles, share::StateWriter& writer) noexcept
      : Containers(ref, profiles), m_writer(writer) {}

  CuStatAccum& begin(const share::Container& container) override {
    m_writer.container(container);
    return Containers::begin(container);
  }
  void firstName(const FileAttributes& info) override { m_writer.firstName(info); }
  void end() override { m_accumulators->save(m_writer); }
  // The coordinator knows them already.
  void met(const share::Met&) override {}
  void message(const std::string& line) override { m_writer.message(line); }

 private:
  share::StateWriter& m_writer;
};

// States become the results of the job's profiles.
class ResultTarget final : public Containers {
 public:
  using Containers::Containers;

  // The name that one walk would have left out.
  void firstName(const FileAttributes&) override {}
  // All of them were looked up before the first state was merged: see `merge`.
  void met(const share::Met&) override {}
  void message(const std::string& line) override {
    // Every share has named as many as one walk does.
    if (line.starts_with(msg::STA0533I.id) && ++m_foreign > Scanner::MAX_FOREIGN_SHOWN)
      return;
    if (naLog != nullptr)
      naLog->repeat(line);
  }
  void end() override {
    m_accumulators->finishParts();
    // At the front, where a single walk puts what it leaves last; containers come in that order.
    if (m_container.isDirectory) {
      m_profile->sdResults.push_front(std::make_unique<ResultsByFS>(*m_ref.filesystem, directory(),
                                                                    m_accumulators->takeResults()));
      return;
    }
    for (Assoc& assoc : m_ref.assocs)
      if (assoc.profile == m_profile)
        assoc.results->rfResults = m_accumulators->takeResults();
  }
  void resolveWith(const Scanner& scanner) noexcept { m_scanner = &scanner; }

 private:
  // Shared by all profiles that were gathered in it.
  const std::shared_ptr<SMonDir>& directory() {
    if (m_directory && m_order == m_container.order)
      return m_directory;
    m_order = m_container.order;
    m_directory = std::make_shared<SMonDir>();
    static_cast<FileAttributes&>(*m_directory) = m_container.monitored.directory;
    share::resolve(*m_directory, *m_scanner);
    m_directory->smDirSpecs = m_container.monitored.specs;
    m_directory->smFilesystem = m_ref.filesystem;
    m_directory->smFilesystemID = m_ref.filesystem->fsID;
    m_directory->smScanTime = m_ref.filesystem->fsScanTime;
    return m_directory;
  }

  const Scanner* m_scanner = nullptr;
  std::int64_t m_foreign = 0;
  std::string m_order;
  std::shared_ptr<SMonDir> m_directory;
};

}  // namespace

SpreadWalk::SpreadWalk(FSRef& ref, const WalkSetting& setting, const share::SpreadOptions& options,
                       ProgressPage* progress)
    : m_ref(ref), m_setting(setting), m_options(options), m_progress(progress) {}

int SpreadWalk::walk() {
  try {
    return walkShares();
  } catch (const share::StateError& error) {
    issueMessage(msg::STA0567E, {m_ref.filesystem->fsMountPoint, error.what(), m_options.work});
    return WALK_FAILED;
  }
}

int SpreadWalk::walkShares() {
  const share::WorkDirectory work(m_options.work);
  work.prepare();
  share::Coordinator coordinator(m_options, work, {m_ref.root.inode, m_ref.root.magic}, m_progress);
  const share::Header run = coordinator.run();
  auto engine =
      share::makeEngine(m_options, work, run.run, std::filesystem::read_symlink("/proc/self/exe"));
  if (!engine)
    throw share::StateError("walk shares: there is no engine " + m_options.engine);
  share::Coordinator::Outcome outcome = coordinator.walkAll(*engine);
  // What it occupies is for others while states are merged.
  engine.reset();
  // Without its first share nothing is known of the tree, not even that it is there.
  if (!outcome.isRootWalked)
    return WALK_FAILED;
  return merge(work, run, std::move(outcome));
}

int SpreadWalk::merge(const share::WorkDirectory& work, const share::Header& run,
                      share::Coordinator::Outcome outcome) {
  WholeTree whole(run.scanStart);
  m_scanner = std::make_unique<StillScanner>(*m_ref.filesystem, std::vector<SelectedAction>(),
                                             m_setting.users, m_setting.fileTypes);
  m_scanner->setPart(whole);
  // In the order of one walk: of ids that share a name, the first one met gives the record.
  for (const share::Met& met : outcome.met)
    (void)m_setting.users.find(Sid(met.id), met.isGroup);
  std::vector<std::string> states = std::move(outcome.states);
  const auto atATime = static_cast<std::ptrdiff_t>(fanIn());
  for (std::uint32_t number = 1; std::ssize(states) > atATime; ++number) {
    const std::vector<std::string> some(states.begin(), states.begin() + atATime);
    states.erase(states.begin(), states.begin() + atATime);
    // Behind the others, so that every state is merged about as often.
    states.push_back(mergeSome(work, run, some, number));
  }
  ResultTarget target(m_ref, m_setting.profiles);
  target.resolveWith(*m_scanner);
  const share::Trailer sum = share::mergeStates(states, run.run, *m_scanner, target);
  // Only now: a single walk numbers types as it meets them, and that order is known at the end.
  m_setting.fileTypes.numberByPlace();
  issueMessage(msg::AGT0144I, {std::to_string(sum.entries)});
  return std::max(outcome.code, sum.code);
}

// The states that went into it are kept: a run that is taken up begins with them.
std::string SpreadWalk::mergeSome(const share::WorkDirectory& work, const share::Header& run,
                                  const std::vector<std::string>& states, std::uint32_t number) {
  share::Header header = run;
  header.share = 0;
  const std::string file = work.merged(number);
  share::StateWriter writer(file, header);
  StateTarget target(m_ref, m_setting.profiles, writer);
  writer.close(share::mergeStates(states, run.run, *m_scanner, target));
  return file;
}

}  // namespace orv
