#pragma once

#include <string>

#include "Scan/job/ShareWalk.h"
#include "Scan/share/Coordinator.h"

namespace orv {

class ProgressPage;

// Has one filesystem walked in shares and completes the results of its profiles from their states,
// as if one walk had been made. Used once by the filesystem scan, on its thread.
class SpreadWalk final {
 public:
  // All must outlive the walk; `progress` null for nobody.
  SpreadWalk(FSRef& ref, const WalkSetting& setting, const share::SpreadOptions& options,
             ProgressPage* progress);

  // 0; 4 when something could not be walked; 8 when there is nothing to report, which was said.
  // Throws ScanAbortException* when the scan is stopped.
  [[nodiscard]] int walk();

 private:
  [[nodiscard]] int walkShares();
  [[nodiscard]] int merge(const share::WorkDirectory& work, const share::Header& run,
                          share::Coordinator::Outcome outcome);
  [[nodiscard]] std::string mergeSome(const share::WorkDirectory& work, const share::Header& run,
                                      const std::vector<std::string>& states, std::uint32_t number);

  FSRef& m_ref;
  const WalkSetting& m_setting;
  const share::SpreadOptions& m_options;
  ProgressPage* m_progress;
  std::unique_ptr<Scanner> m_scanner;  // never walks: what accumulators are shown
};

}  // namespace orv
