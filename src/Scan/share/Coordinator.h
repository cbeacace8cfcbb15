#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "Scan/share/Engine.h"
#include "runtime/ut/UniqueFd.h"

namespace orv {
class ProgressPage;
}

namespace orv::share {

// Divides a tree among walks that are done elsewhere: writes shares, has an engine walk them, takes
// their states over and makes new shares of what they left, until nothing is left. Knows nothing of
// the tree beforehand. All that it needs to go on after its end lies in the work directory.
//
// Used once, by the filesystem scan, on its thread.
class Coordinator final {
 public:
  // Walks of a share that fail before it is given up.
  static constexpr int MAX_ATTEMPTS = 3;
  // The largest budget, in entries, that saves starts and does nothing else.
  static constexpr std::int64_t MAX_MIN_BUDGET = 50'000;
  // Directories that one share begins with, at most.
  static constexpr std::size_t MAX_ROOTS = 10'000;

  // What all walks came to.
  struct Outcome {
    std::vector<std::string> states;  // files, one per share that was walked
    std::int64_t entries = 0;
    int code = 0;               // 4 when something could not be read or walked
    bool isRootWalked = false;  // else there is nothing to report
    std::vector<Met> met;       // by place
  };

  // `progress` null: nobody watches. Begins a run over the filesystem with that root or, when the
  // work directory holds one, goes on with it. Throws StateError.
  Coordinator(const SpreadOptions& options, const WorkDirectory& work, const RootMark& root,
              ProgressPage* progress);
  ~Coordinator();

  [[nodiscard]] const Header& run() const noexcept { return m_run; }

  // Throws StateError when the work directory fails, and ScanAbortException* when the scan is
  // stopped; what is done then stays done.
  [[nodiscard]] Outcome walkAll(Engine& engine);

 private:
  // What is worth a start: depends on what starts cost and on how fast entries may be.
  struct Pace {
    std::int64_t least;              // entries of a share, when nothing else is known
    std::chrono::milliseconds time;  // of a walk that makes its start negligible
    std::size_t parts;               // of the directories left, per task
  };
  void hold();
  void begin(const RootMark& root);
  void takeUp(Engine& engine);
  void plan(Engine& engine, std::size_t over);
  [[nodiscard]] Share nextShare();
  [[nodiscard]] std::int64_t walkedIn(std::chrono::milliseconds time) const;
  [[nodiscard]] std::int64_t worthAStart() const;
  void keepLeft(std::uint32_t number, std::vector<LeftOver> directories);
  void settle(Engine& engine, const Engine::Ended& ended);
  // Throws StateError unless the file is the whole state of that share.
  void verify(std::uint32_t number, const std::string& file) const;
  // What the share left.
  [[nodiscard]] std::vector<LeftOver> accept(std::uint32_t number);
  [[nodiscard]] std::vector<LeftOver> take(std::uint32_t number, const std::string& file);
  void retry(Engine& engine, std::uint32_t number, const std::string& reason);
  void giveUp(std::uint32_t number, const std::string& reason);
  void show(const std::string& hindrance) const;

  SpreadOptions m_options;
  const WorkDirectory& m_work;
  ProgressPage* m_progress;
  Pace m_pace;
  Header m_run;
  UniqueFd m_held;  // keeps other coordinators away
  // Where a run is taken up: the last share that begins with a directory. By its path, because
  // places change when a directory above it is read again.
  std::map<std::string, std::uint32_t> m_planned;
  std::deque<LeftOver> m_left;             // that no share has
  std::map<std::uint32_t, int> m_running;  // attempts, by share
  std::uint32_t m_lastShare = 0;
  std::set<std::string> m_nodes;
  std::map<std::pair<bool, std::uint32_t>, std::string> m_met;  // first places of users and groups
  std::int64_t m_milliseconds = 0;                              // of all walks
  Outcome m_outcome;
};

}  // namespace orv::share
