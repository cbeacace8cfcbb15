#pragma once

namespace orv {

class Scanner;
struct FileAttributes;

// Something that the walk calls for entries and directories. Owned by the filesystem scan, used on
// the scanning thread.
class FileAction {
 public:
  explicit FileAction(const char* objectName) noexcept : m_objectName(objectName) {}
  virtual ~FileAction() = default;
  FileAction(const FileAction&) = delete;
  FileAction& operator=(const FileAction&) = delete;

  // One entry that the action's selection admits.
  virtual void actUpon(Scanner* pScanner, FileAttributes* pInfo) = 0;

  // Every directory that the walk enters and leaves, whatever the selection says; balanced.
  virtual void directoryEntered(FileAttributes* pDirInfo) = 0;
  virtual void directoryLeft() = 0;
  // The directory shown last is not entered. Most actions have nothing to do then.
  virtual void directoryNotEntered(FileAttributes* /*pDirInfo*/) {}
  // The directory shown last is left to another walk, which enters it.
  virtual void directoryLeftOver(FileAttributes* /*pDirInfo*/) {}

  [[nodiscard]] const char* objectName() const noexcept { return m_objectName; }

 private:
  const char* m_objectName;
};

}  // namespace orv
