#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orv::ctl {

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

  // Seconds from the job's first message to its last; negative when the log tells no time.
  [[nodiscard]] double duration() const noexcept { return m_lastTime - m_firstTime; }

  [[nodiscard]] const std::string& path() const noexcept { return m_path; }

 private:
  void takeLine(const std::string& line);

  std::string m_path;
  std::int64_t m_offset = 0;  // of the first byte that was not read yet
  std::string m_partial;      // a line whose end was not written yet
  std::int64_t m_entriesScanned = 0;
  std::vector<std::string> m_warnings;
  std::size_t m_warningCount = 0;
  double m_firstTime = 0;  // seconds since 1970
  double m_lastTime = -1;
};

}  // namespace orv::ctl
