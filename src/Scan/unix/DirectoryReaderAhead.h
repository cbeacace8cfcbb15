#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "Scan/unix/AheadStep.h"
#include "Scan/walk/DirectoryReader.h"

namespace orv {

class ReadAhead;
class ScannerUnix;

// The reader that takes names and examinations from the read-ahead of its scanner. What it tells
// the walk, and in which order, is what the reader over a directory stream would: errors met ahead
// are reported when the walk gets to them.
class DirectoryReaderAhead final : public DirectoryReader {
 public:
  // Both must outlive the reader; `ahead` must have been stopped before a reader that is not at its
  // end is destroyed.
  DirectoryReaderAhead(ScannerUnix& scanner, ReadAhead& ahead) noexcept
      : m_scanner(scanner), m_ahead(ahead) {}

  [[nodiscard]] long getHandle() const override;
  int setHandle(long handle) override;
  // Throws a GenericException of message STA0530E for a scan root that does not answer.
  [[nodiscard]] long open(const std::string& path) override;
  [[nodiscard]] bool nextEntry(const std::string& path, long handle, int fsType) override;
  [[nodiscard]] std::int64_t stat(const std::string& path, FileAttributes* info,
                                  int fsType) override;
  // Of the root until the work begins; the walk opens nothing below others. -1 with lanes.
  [[nodiscard]] int directoryFd() const noexcept override;

 protected:
  void abandon() noexcept override;

 private:
  [[nodiscard]] int openRoot(const std::string& path, const std::string& local);
  [[nodiscard]] int openOffered();
  void start(int fsType);
  [[nodiscard]] AheadStep* currentStep();
  void deliver(AheadStep& step);

  ScannerUnix& m_scanner;
  ReadAhead& m_ahead;
  std::unique_ptr<AheadDirectory> m_directory;  // null when closed
  std::optional<EntryStat> m_root;              // the root's own examination
  std::uint32_t m_position = 0;                 // of the next entry in the current step
  std::uint32_t m_nextBelow = 0;                // in the current step's subdirectories
  const char* m_name = nullptr;                 // of the entry named last; null before the first
};

}  // namespace orv
