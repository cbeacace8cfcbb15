#include "Scan/unix/AheadWorker.h"

#include <sys/stat.h>

#include <algorithm>
#include <new>

#include "runtime/thrd/StopFlag.h"

namespace orv {
namespace {

// Names that make a step in stream order; the last read may add to them.
constexpr std::size_t STEP_NAMES = 1'024;

}  // namespace

bool AheadWorker::isStopped() const noexcept {
  return agentStop.load(std::memory_order_relaxed) || m_quit.load(std::memory_order_relaxed);
}

void AheadWorker::read(AheadStep& step) noexcept {
  AheadDirectory& directory = step.directory;
  try {
    if (!step.opened)
      directory.openError = open(step);
    // The last of the siblings that lets go of their directory closes it.
    directory.parent.reset();
    if (!step.opened)
      return;
    directory.readError = readNames(step);
    keepNames(step);
    if (!m_list.atEnd()) {
      step.next = std::make_unique<AheadStep>(directory);
      // The rest is read through the same descriptor, whose position is behind what was read.
      step.next->opened = step.opened;
    }
  } catch (const std::bad_alloc&) {
    step.count = 0;
    step.next.reset();
    // The walk reports it when it gets there, as an error of this directory.
    directory.readError = ENOMEM;
  }
}

int AheadWorker::open(AheadStep& step) const {
  const AheadDirectory& directory = step.directory;
  UniqueFd fd(m_open(directory.parent->fd(), directory.name, true));
  if (!fd)
    return errno;
  step.opened = std::make_shared<const OpenDirectory>(std::move(fd), m_openCount);
  return 0;
}

int AheadWorker::readNames(AheadStep& step) {
  AheadDirectory& directory = step.directory;
  m_list.clear();
  int error = 0;
  if (!step.mayUseWindow) {
    while (error == 0 && !m_list.atEnd() && m_list.names().size() < STEP_NAMES)
      error = m_list.readMore(step.opened->fd(), m_rules.fsType);
    return error;
  }
  error = m_list.readWindow(step.opened->fd(), m_rules.fsType, [this] { return isStopped(); });
  // A directory that turns out to be small becomes one step in stream order.
  directory.isLarge = directory.isLarge || m_list.isLarge();
  if (directory.isLarge)
    step.order = m_list.inodeOrder();
  return error;
}

void AheadWorker::keepNames(AheadStep& step) const {
  const auto& names = m_list.names();
  const auto& text = m_list.text();
  if (names.empty())
    return;
  step.entries = std::make_unique_for_overwrite<AheadStep::Entry[]>(names.size());
  step.names = std::make_unique_for_overwrite<char[]>(text.size());
  // Copied to size: the list's own memory serves the next directory.
  std::copy(text.begin(), text.end(), step.names.get());
  for (std::size_t i = 0; i < names.size(); ++i)
    step.entries[i].nameOffset = names[i].offset;
  step.count = static_cast<std::uint32_t>(names.size());
}

void AheadWorker::examine(AheadStep& step, std::uint32_t begin, std::uint32_t end) const noexcept {
  for (std::uint32_t i = begin; i < end; ++i) {
    const std::uint32_t index = step.order ? step.order[i] : i;
    AheadStep::Entry& entry = step.entries[index];
    // The walk ends before it meets an entry that was given up.
    entry.error = isStopped() ? ECANCELED
                              : examineEntry(step.opened->fd(), step.nameOf(index),
                                             m_rules.membership, entry.st);
  }
}

bool AheadRules::mayBeEntered(const AheadStep& step, std::uint32_t index) const {
  const AheadStep::Entry& entry = step.entries[index];
  return entry.error == 0 && S_ISDIR(entry.st.mode) && entries->isOwn(entry.st.device) &&
         entries->passageOf(step.directory.level, step.nameOf(index)) == Passage::ENTERED;
}

void AheadWorker::finish(AheadStep& step) const noexcept {
  try {
    for (std::uint32_t index = 0; index < step.count; ++index) {
      if (!m_rules.mayBeEntered(step, index))
        continue;
      auto below = std::make_unique<AheadDirectory>();
      below->parent = step.opened;
      below->name = step.nameOf(index);
      below->size = step.entries[index].st.size;
      below->level = step.directory.level + 1;
      below->firstStep = std::make_unique<AheadStep>(*below);
      step.subdirectories.push_back({index, std::move(below)});
    }
  } catch (const std::bad_alloc&) {
    // Those that are missing cannot be entered; the walk reports each of them when it gets there.
  }
  // Subdirectories that are still to be opened below it hold it themselves.
  step.opened.reset();
}

}  // namespace orv
