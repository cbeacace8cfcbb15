#pragma once

#include <memory>

#include "Scan/unix/DirectoryReaderUnix.h"
#include "runtime/unx/virtstat.h"

namespace orv {

// The reader of a walk with a stat time-out: the stat thread opens and reads the directory, so that
// the job itself never waits for a mount that does not answer. A directory that gives no answer
// when it is opened and read for the first time has no entries and is reported; one that stops
// answering later is a read failure.
class DirectoryReaderTimed final : public DirectoryReaderUnix {
 public:
  using DirectoryReaderUnix::DirectoryReaderUnix;

  // 1 while there are entries to come.
  [[nodiscard]] long getHandle() const override;
  int setHandle(long handle) override;
  // Throws a GenericException of message STA0530E for a scan root that does not answer.
  [[nodiscard]] long open(const std::string& path) override;

 protected:
  [[nodiscard]] bool readName(int fsType) override;
  void endOfStream() override;

 private:
  [[nodiscard]] int readBlock();

  std::string m_path;                       // of the directory, as this machine reaches it
  std::unique_ptr<DirectoryBlock> m_block;  // null when the directory is not open
  std::size_t m_at = 0;                     // of the next entry in the block
};

}  // namespace orv
