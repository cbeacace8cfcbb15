#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "orvctl/job/ScanProcess.h"
#include "orvctl/text/Style.h"
#include "runtime/unx/ProgressPage.h"

namespace orv::ctl {

// Shows on standard error how far a scan is. On a terminal one line that is rewritten every second:
// entries, entries per second, what is left where the number of entries is known, and the directory
// that the scan is in. Where the terminal is dumb, or there is none, one line at the start and one
// every half minute. Owned by whoever runs the scan.
class Progress final : public ScanWatcher {
 public:
  // `subject` is what is scanned, in printable words; `expected` the entries that there are, 0 when
  // nobody knows. The scan writes into `pageFile`, which is made here and removed at the end.
  Progress(std::string subject, std::int64_t expected, std::string pageFile);
  ~Progress() override;
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void tick(double elapsedSeconds) override;
  void stopping() override;
  [[nodiscard]] std::chrono::milliseconds interval() const override;

  // Removes the line from the terminal.
  void end();

  // The directory that the scan entered last; empty when it entered none.
  [[nodiscard]] std::string directory() const;

 private:
  std::string m_subject;
  std::int64_t m_expected;
  std::string m_pageFile;
  Style m_style;
  bool m_onLine;  // one line, rewritten
  std::unique_ptr<ProgressPage> m_page;
  double m_lastTime = 0;
  std::uint64_t m_lastEntries = 0;
};

// How far a scan is, in words: "1,200 entries, 400/s, 12% (about 1 min 5 s left), 3.0 s".
[[nodiscard]] std::string progressText(std::uint64_t entries, double perSecond,
                                       std::int64_t expected, double elapsedSeconds);

}  // namespace orv::ctl
