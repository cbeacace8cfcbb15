#pragma once

#include <sys/mman.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>

#include "Scan/unix/AheadStep.h"
#include "Scan/unix/LaneServer.h"
#include "runtime/unx/HelperProcess.h"

namespace orv {

// A piece of work at a step that a lane was given: to read it and examine its first entries, or to
// examine a share of it.
struct LaneWork {
  enum class Phase : std::uint8_t { OPENING, READING, EXAMINING };

  AheadStep* step;  // null once the walk has given the directory up
  lane::Request::Kind kind;
  std::uint32_t at = 0;   // next entry to be examined
  std::uint32_t end = 0;  // for a read: known with the list, at most that many until then
  Phase phase = Phase::OPENING;
  bool wasCut = false;     // a helper has died over it
  std::int64_t worth = 0;  // its part in the lane's load
};

// The job's side of a lane: a helper process that reads a filesystem, and what it was asked. Used
// on the walk's thread, which never waits in here.
class Lane final {
 public:
  using Clock = std::chrono::steady_clock;

  explicit Lane(LeftBehind& leftBehind) : m_process(leftBehind) {}

  // Starts the helper, which opens the root first. False with errno when it cannot be made.
  [[nodiscard]] bool start(const lane::Root& root);
  // Kills the helper and leaves it behind. What it was asked stays in `works`, for the caller to
  // take: a deque cannot be handed over without memory.
  void end() noexcept;
  [[nodiscard]] bool isRunning() const noexcept { return m_process.isRunning(); }

  // Whether a request with that many bytes of path and names may be sent now.
  [[nodiscard]] bool hasRoomFor(std::size_t textLength) const noexcept {
    return m_channel->requests.room() >= sizeof(lane::Request) + textLength;
  }
  // `names` are the request's own, each with its zero.
  void send(const lane::Request& request, const std::string& path, const char* names);
  // Takes the next reply. False when there is none yet.
  [[nodiscard]] bool take(lane::Reply& reply) noexcept;
  void takeText(char* text, std::size_t length) noexcept { m_channel->replies.take(text, length); }
  // To be called when all replies were taken: the helper may go on if it waited for room.
  void makeRoom() noexcept;

  // Whether the lane owes an answer.
  [[nodiscard]] bool isAwaited() const noexcept { return isOpening || !works.empty(); }
  // Asks to be woken when half of what the helper was asked is answered, or all. False when that is
  // so already.
  [[nodiscard]] bool askToBeWoken() noexcept;
  [[nodiscard]] int wakeUps() const noexcept { return m_process.replies(); }
  // After a sleep. False when the helper is gone.
  [[nodiscard]] bool takeWakeUps() noexcept;

  bool isOpening = false;      // the root has not been answered yet
  std::deque<LaneWork> works;  // in the order of their requests
  std::int64_t load = 0;       // what they are worth
  Clock::duration waited{};    // for the answer that is due now
  Clock::time_point since{};   // when that waiting began

 private:
  struct Unmap {
    void operator()(lane::Channel* channel) const noexcept {
      ::munmap(channel, sizeof(lane::Channel));
    }
  };
  void wakeHelper() noexcept;

  HelperProcess m_process;
  // A new one for each helper: one that was left behind may wake up and write into the old.
  std::unique_ptr<lane::Channel, Unmap> m_channel;
};

}  // namespace orv
