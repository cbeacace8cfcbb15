#include "Scan/unix/ReadAhead.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "runtime/ut/Trace.h"

namespace orv {

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
  // Traced and not refused: a scan must not fail for an option that changes nothing in its result.
  if (used != threads)
    TRACE(TR_ERROR, "ORV_WALK_THREADS=%s: not a number from 1 to %d, taken as %d", text,
          ReadAhead::MAX_HELPERS, used);
  return used;
}

void ReadAhead::setDone(AheadStep& step) noexcept {
  step.state = AheadStep::State::DONE;
  // Releases all that was written to the step; the walk acquires it with `isDone` and needs no
  // lock.
  step.done.store(true, std::memory_order_release);
}

void ReadAhead::offer(std::unique_ptr<AheadDirectory> directory) {
  // The walk has come to another entry: it did not enter that directory.
  if (m_offered) [[unlikely]]
    discard(std::move(m_offered));
  m_offered = std::move(directory);
}

std::unique_ptr<AheadDirectory> ReadAhead::takeOffered() noexcept {
  return std::move(m_offered);
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
