#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace orv::ctl {

// What a scan met and left out, by its messages.
struct LeftOut {
  std::int64_t unreadable = 0;  // entries that could not be opened, read or examined
  std::int64_t tooDeep = 0;     // directories below the last level that is entered
  std::int64_t tooLong = 0;     // paths beyond what a scan can name
  std::int64_t lostShares = 0;  // of a divided scan, that were given up
  // Directories that lie on other devices, as the log shows them: mounts, subvolumes.
  std::vector<std::string> otherDevices{};
};

// The activity log of one job, read while the job writes it: each `poll` takes what was added since
// the last. Used on one thread.
class JobLog final {
 public:
  // How many warnings are kept; the rest is only counted.
  static constexpr std::size_t MAX_WARNINGS = 1000;

  explicit JobLog(std::string path) : m_path(std::move(path)) {}

  // Reads the complete lines that were added. A log that does not exist yet has none.
  void poll();

  // Entries scanned by the newest progress message (AGT0143I, AGT0144I); 0 before the first.
  [[nodiscard]] std::int64_t entriesScanned() const noexcept { return m_entriesScanned; }

  // Messages of kinds W, E and T, in the log's order: "<id> <text>".
  [[nodiscard]] const std::vector<std::string>& warnings() const noexcept { return m_warnings; }
  [[nodiscard]] std::size_t warningCount() const noexcept { return m_warningCount; }

  // What was left out of each filesystem, in the order in which the job walked them.
  [[nodiscard]] const std::vector<LeftOut>& leftOut() const noexcept { return m_leftOut; }

  // Seconds from the job's first message to its last; negative when the log tells no time.
  [[nodiscard]] double duration() const noexcept { return m_lastTime - m_firstTime; }

  [[nodiscard]] const std::string& path() const noexcept { return m_path; }

 private:
  void takeLine(const std::string& line);
  void countLeftOut(std::string_view id);

  std::string m_path;
  std::int64_t m_offset = 0;  // of the first byte that was not read yet
  std::string m_partial;      // a line whose end was not written yet
  std::int64_t m_entriesScanned = 0;
  std::vector<std::string> m_warnings;
  std::size_t m_warningCount = 0;
  std::vector<LeftOut> m_leftOut;
  double m_firstTime = 0;  // seconds since 1970
  double m_lastTime = -1;
};

}  // namespace orv::ctl
