#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "orvctl/job/RootFacts.h"

namespace orv::ctl {

// What orvctl knows of one of its runs and the result does not say: a file beside the result,
// "<result without .dat>.about". Written before the scan starts and again when it has ended; a run
// that was killed has no end there.
struct RunRecord {
  std::string host;
  pid_t pid = 0;             // of the orvctl that started it
  std::int64_t started = 0;  // seconds since 1970, like `ended`
  std::vector<RootFacts> roots;
  std::string where{};  // the clause as typed
  int timeout = 0;      // seconds; 0 for none
  std::optional<std::int64_t> ended{};
  std::optional<int> code{};
  std::optional<std::int64_t> entries{};  // of all roots, when there is a result
  std::optional<std::int64_t> bytes{};

  // Writes or replaces the file. Throws CtlError.
  void write(const std::string& file) const;

  // Nothing when there is no such file or it does not hold what it should: people damage files.
  [[nodiscard]] static std::optional<RunRecord> read(const std::string& file);
};

inline constexpr const char* RECORD_ENDING = ".about";

// Where the record of a result lies (which need not exist).
[[nodiscard]] std::string recordOfResult(const std::string& result);

}  // namespace orv::ctl
