#pragma once

#include <dirent.h>

#include <memory>

#include "Scan/unix/DirectoryStream.h"
#include "Scan/walk/DirectoryReader.h"

namespace orv {

class ScannerUnix;

// The reader over a directory stream. Directories and entries are opened and examined relative to
// the open parent, so a tree that changes under the walk cannot lead it elsewhere; with a
// local-path record the path itself is used.
class DirectoryReaderUnix final : public DirectoryReader {
 public:
  // `scanner` must outlive the reader.
  explicit DirectoryReaderUnix(ScannerUnix& scanner) noexcept : m_scanner(scanner) {}

  [[nodiscard]] long getHandle() const override;
  int setHandle(long handle) override;
  [[nodiscard]] long open(const std::string& path) override;
  [[nodiscard]] bool nextEntry(const std::string& path, long handle, int fsType) override;
  [[nodiscard]] std::int64_t stat(const std::string& path, FileAttributes* info,
                                  int fsType) override;
  [[nodiscard]] int directoryFd() const noexcept override;

 protected:
  void abandon() noexcept override;

 private:
  struct StreamCloser {
    void operator()(DIR* stream) const noexcept { ::closedir(stream); }
  };

  [[nodiscard]] DIR* openStream(const std::string& path) const;
  [[nodiscard]] bool locate(const std::string& path, FileRecord& file);
  void considerWindow();
  // Makes the next entry's name `m_name`. False at the end, or with errno after a failure.
  [[nodiscard]] bool readName(int fsType);
  void endOfStream();

  ScannerUnix& m_scanner;
  const char* m_name = nullptr;  // of the entry named last; null before the first
  std::unique_ptr<DIR, StreamCloser> m_stream;
  std::shared_ptr<DirectoryWindow> m_window;  // only in a large directory on a local disk
};

}  // namespace orv
