#include "Scan/unix/AheadStep.h"

#include <cstring>
#include <utility>

namespace orv {

AheadDirectory::~AheadDirectory() {
  // One after the other: a large directory has too many steps for a chain of destructors.
  while (firstStep)
    firstStep = std::move(firstStep->next);
}

void AheadStep::keep(std::unique_ptr<char[]> text, std::uint32_t total, std::uint32_t length) {
  entries = std::make_unique_for_overwrite<Entry[]>(total);
  names = std::move(text);
  count = total;
  textLength = length;
  std::uint32_t offset = 0;
  for (std::uint32_t i = 0; i < total; ++i) {
    entries[i].nameOffset = offset;
    entries[i].error = PENDING;
    offset += static_cast<std::uint32_t>(std::strlen(names.get() + offset)) + 1;
  }
}

void AheadPlan::insert(AheadStep& step, AheadStep* after) noexcept {
  step.earlier = after;
  step.later = after == nullptr ? m_front : after->later;
  (after == nullptr ? m_front : after->later) = &step;
  if (step.later != nullptr)
    step.later->earlier = &step;
  step.isPlanned = true;
}

void AheadPlan::remove(AheadStep& step) noexcept {
  if (!step.isPlanned)
    return;
  (step.earlier == nullptr ? m_front : step.earlier->later) = step.later;
  if (step.later != nullptr)
    step.later->earlier = step.earlier;
  step.earlier = step.later = nullptr;
  step.isPlanned = false;
}

AheadStep* AheadPlan::withdraw(AheadDirectory& directory) noexcept {
  directory.isDiscarded = true;
  AheadStep* busy = nullptr;
  for (AheadStep* step = directory.firstStep.get(); step != nullptr; step = step->next.get()) {
    if (step->state == AheadStep::State::UNREAD) {
      remove(*step);
    } else if (step->state == AheadStep::State::READING) {
      // What follows it is being made.
      return step;
    } else if (step->state != AheadStep::State::DONE) {
      // The last one found is enough: its end leads to another call.
      busy = step;
    } else {
      for (const AheadStep::Subdirectory& below : step->subdirectories)
        if (AheadStep* busyBelow = below.directory ? withdraw(*below.directory) : nullptr)
          busy = busyBelow;
    }
  }
  return busy;
}

}  // namespace orv
